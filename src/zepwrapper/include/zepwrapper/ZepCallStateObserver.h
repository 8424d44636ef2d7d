#pragma once

#include <memory>
#include <string>

#include "IObserverObject.h"
#include "ZepCallInfo.h"

class ZepCallStateObserver : public IObserverObject {
public:
    // callEvent: the framework's word for what happened; call may be empty
    // when the call is gone.
    virtual void onCallStateChange(const std::string& callEvent, std::shared_ptr<ZepCallInfo> call, int callId) = 0;
    virtual void onAttendedTransferStateChange(int callId) = 0;
    virtual void onCallVideoResolutionChange(unsigned width, unsigned height, int callId) = 0;
};
