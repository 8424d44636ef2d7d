#pragma once

#include <atomic>

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
};

}  // namespace test
}  // namespace tessel
