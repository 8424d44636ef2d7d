#pragma once

#include <memory>
#include <string>
#include <vector>

#include "IObserverObject.h"
#include "ZepPhoneInfo.h"

class ZepConnectionObserver : public IObserverObject {
public:
    virtual void onConnectionStatusChange(const std::string& status) = 0;
    virtual void onConnectionFailure(const std::string& reason) = 0;
    virtual void onAuthenticationStatusChange(const std::string& status) = 0;
    virtual void onCallControlModeChange(const std::string& phoneMode, const std::string& deviceName,
                                         const std::string& lineDN) = 0;
    virtual void onZepTelephonyDevicesChanged(std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>> devices) = 0;
};
