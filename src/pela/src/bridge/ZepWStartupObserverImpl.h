#pragma once

#include <memory>

#include <zepwrapper/ZepStartupObserver.h>

#include "bridge/ManagedEventObserverBase.h"

namespace tessel {

// The framework's media features coming up and going down, as content-less events.
class ZepWStartupObserverImpl : public ManagedEventObserverBase,
                                public ZepStartupObserver,
                                public std::enable_shared_from_this<ZepWStartupObserverImpl> {
public:
    void registerSelf() override;
    void unregisterSelf() override;

    void onZepMediaDeviceFeatureSetStarted() override;
    void onZepMediaDeviceFeatureSetStopped() override;
};

}  // namespace tessel
