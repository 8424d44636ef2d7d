#pragma once

#include <memory>

#include <zepwrapper/ZepConnectionObserver.h>

#include "bridge/ManagedEventObserverBase.h"

namespace tessel {

// Connection status, failures, call-control mode and the device list, as page events.
class ZepWConnectionObserverImpl : public ManagedEventObserverBase,
                                   public ZepConnectionObserver,
                                   public std::enable_shared_from_this<ZepWConnectionObserverImpl> {
public:
    void registerSelf() override;
    void unregisterSelf() override;

    void onConnectionStatusChange(const std::string& status) override;
    void onConnectionFailure(const std::string& reason) override;
    void onAuthenticationStatusChange(const std::string& status) override;
    void onCallControlModeChange(const std::string& phoneMode, const std::string& deviceName,
                                 const std::string& lineDN) override;
    void onZepTelephonyDevicesChanged(std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>> devices) override;
};

}  // namespace tessel
