#pragma once

#include <functional>

class ZepWrapperAPI;

namespace tessel {

class IZepWCmdClient {
public:
    virtual ~IZepWCmdClient() = default;
    virtual void startZepWrapper() = 0;
    virtual ZepWrapperAPI* getZepWrapper() const = 0;
    virtual void stopZepWrapper() = 0;
    virtual void pumpNextDispatcherTask() = 0;
    virtual bool isZepWrapperStarted() = 0;
    // How long the pumping thread may sleep before the framework's next
    // pump is due; -1 while it is not running (nothing is ever due).
    virtual long dispatcherIdleMs() = 0;
    // How the framework wakes the pumping thread when work comes from
    // elsewhere; any thread may call it.
    virtual void setDispatcherWakeUp(std::function<void()> wake) = 0;
};

}  // namespace tessel
