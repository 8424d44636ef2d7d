#pragma once

#include <memory>

#include <zepwrapper/ZepCallStateObserver.h>

#include "bridge/ManagedEventObserverBase.h"

namespace tessel {

// Call state and attended-transfer progress, as "callstatechange" and
// "attendedtransferstatechange" events.
class ZepWCallStateObserverImpl : public ManagedEventObserverBase,
                                  public ZepCallStateObserver,
                                  public std::enable_shared_from_this<ZepWCallStateObserverImpl> {
public:
    void registerSelf() override;
    void unregisterSelf() override;

    void onCallStateChange(const std::string& callEvent, std::shared_ptr<ZepCallInfo> call, int callId) override;
    void onAttendedTransferStateChange(int callId) override;
    void onCallVideoResolutionChange(unsigned width, unsigned height, int callId) override;
};

}  // namespace tessel
