#pragma once

#include <memory>

#include "bridge/IZepWCmdClient.h"
#include "bridge/ZepWrapperProxy.h"
#include "threading/Mutex.h"

namespace tessel {

// Owns the process's one framework interface pointer (the library keeps the
// object alive for the whole process). Every operation holds the mutex, so a
// stop from another thread waits for a pump in progress, and a pump after the
// stop does nothing.
class ZepWCmdClient : public IZepWCmdClient {
public:
    // The library's interface object, through a proxy that loads the
    // library when the framework is first needed.
    ZepWCmdClient();
    // Drives the given interface instead (a test framework); may be null.
    explicit ZepWCmdClient(ZepWrapperAPI* pZepW);
    // Leaves the framework running: stopping is the task handler's job.
    ~ZepWCmdClient() override;
    ZepWCmdClient(const ZepWCmdClient&) = delete;
    ZepWCmdClient& operator=(const ZepWCmdClient&) = delete;

    // Where the proxy logs the library's loading; no effect on a given interface.
    void setLog(ILog* log);

    void startZepWrapper() override;
    ZepWrapperAPI* getZepWrapper() const override;
    void stopZepWrapper() override;
    void pumpNextDispatcherTask() override;
    bool isZepWrapperStarted() override;
    long dispatcherIdleMs() override;
    void setDispatcherWakeUp(std::function<void()> wake) override;

private:
    std::unique_ptr<ZepWrapperProxy> m_spProxy;
    mutable ozk::Mutex m_mutex;
    ZepWrapperAPI* m_pZepW = nullptr;
    bool m_started = false;
};

}  // namespace tessel
