#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <utility>

#include "bridge/IZepWCmdClient.h"

namespace tessel {
namespace test {

// Counts what tasks ask of the framework; no framework behind it.
class FakeZepWCmdClient : public IZepWCmdClient {
public:
    void startZepWrapper() override {
        ++m_startCount;
        m_started = true;
    }
    ZepWrapperAPI* getZepWrapper() const override { return m_pZepW; }
    void stopZepWrapper() override {
        ++m_stopCount;
        m_started = false;
    }
    void pumpNextDispatcherTask() override { ++m_pumpCount; }
    bool isZepWrapperStarted() override { return m_started; }
    long dispatcherIdleMs() override { return m_started ? m_idleMs.load() : -1; }
    void setDispatcherWakeUp(std::function<void()> wake) override {
        std::lock_guard<std::mutex> lock(m_wakeMutex);
        m_wake = std::move(wake);
    }
    // What the running framework says about its next work, and the framework
    // giving the pumping thread work from another thread.
    void setIdleMs(long ms) { m_idleMs = ms; }
    bool wakeFromFramework() {
        std::function<void()> wake;
        {
            std::lock_guard<std::mutex> lock(m_wakeMutex);
            wake = m_wake;
        }
        if (wake) wake();
        return static_cast<bool>(wake);
    }

    // Pretend the framework is (not) running without counting a start or stop.
    void setStarted(bool started) { m_started = started; }
    void setZepWrapper(ZepWrapperAPI* pZepW) { m_pZepW = pZepW; }

    int startCount() const { return m_startCount; }
    int stopCount() const { return m_stopCount; }
    int pumpCount() const { return m_pumpCount; }

private:
    std::atomic<bool> m_started{false};
    std::atomic<ZepWrapperAPI*> m_pZepW{nullptr};
    std::atomic<int> m_startCount{0};
    std::atomic<int> m_stopCount{0};
    std::atomic<int> m_pumpCount{0};
    std::atomic<long> m_idleMs{1};
    std::mutex m_wakeMutex;
    std::function<void()> m_wake;
};

}  // namespace test
}  // namespace tessel
