#include "bridge/ZepWStartupObserverImpl.h"

#include "dispatch/HandleKnownContentEventTask.h"
#include "logging/LogMacros.h"
#include "messages/EventNames.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ZepWStartupObserverImpl";

void ZepWStartupObserverImpl::registerSelf() {
    registerWithFramework(kSrc, weak_from_this().lock(), "Registering ZepW StartupObserver",
                          "ZepWStartupObserverImpl::registerSelf failed, pZepW NULL");
}

void ZepWStartupObserverImpl::unregisterSelf() {
    unregisterFromFramework(kSrc, weak_from_this().lock(), "Unregistered ZepW StartupObserver",
                            "ZepWStartupObserverImpl::unregisterSelf failed, pZepW NULL");
}

void ZepWStartupObserverImpl::onZepMediaDeviceFeatureSetStarted() {
    PELA_LOG4(getLog(), kSrc, "ZepWStartupObserverImpl::onZepMediaDeviceFeatureSetStarted");
    queueTask(kSrc, newEvent(events::kMultimediaCapabilitiesStarted, std::shared_ptr<Ptree>()));
}

void ZepWStartupObserverImpl::onZepMediaDeviceFeatureSetStopped() {
    PELA_LOG4(getLog(), kSrc, "ZepWStartupObserverImpl::onZepMediaDeviceFeatureSetStopped");
    queueTask(kSrc, newEvent(events::kMultimediaCapabilitiesStopped, std::shared_ptr<Ptree>()));
}

}  // namespace tessel
