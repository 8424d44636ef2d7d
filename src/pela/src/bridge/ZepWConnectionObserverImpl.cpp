#include "bridge/ZepWConnectionObserverImpl.h"

#include "bridge/ZepPhoneInfoPtree.h"
#include "dispatch/HandleKnownContentEventTask.h"
#include "logging/LogMacros.h"
#include "messages/EventNames.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ZepWConnectionObserverImpl";

void ZepWConnectionObserverImpl::registerSelf() {
    registerWithFramework(kSrc, weak_from_this().lock(), "Registered ZepW ConnectionObserver",
                          "ZepWConnectionObserverImpl::registerSelf failed, pZepW NULL");
}

void ZepWConnectionObserverImpl::unregisterSelf() {
    unregisterFromFramework(kSrc, weak_from_this().lock(), "Unregistered ZepW ConnectionObserver",
                            "ZepWConnectionObserverImpl::unregisterSelf failed, pZepW NULL");
}

void ZepWConnectionObserverImpl::onConnectionStatusChange(const std::string& status) {
    PELA_LOG4(getLog(), kSrc, "ZepWConnectionObserverImpl::onConnectionStatusChange [" << status << "]");
    queueTask(kSrc, newStringEvent(events::kConnectionStatusChange, status));
}

void ZepWConnectionObserverImpl::onConnectionFailure(const std::string& reason) {
    PELA_LOG4(getLog(), kSrc, "ZepWConnectionObserverImpl::onConnectionFailure [" << reason << "]");
    queueTask(kSrc, newStringEvent(events::kConnectionFailure, reason));
}

void ZepWConnectionObserverImpl::onAuthenticationStatusChange(const std::string& status) {
    PELA_LOG4(getLog(), kSrc, "ZepWConnectionObserverImpl::onAuthenticationStatusChange [" << status << "]");
    queueTask(kSrc, newStringEvent(events::kAuthenticationStatusChange, status));
}

void ZepWConnectionObserverImpl::onCallControlModeChange(const std::string& phoneMode, const std::string& deviceName,
                                                         const std::string& lineDN) {
    PELA_LOG4(getLog(), kSrc, "ZepWConnectionObserverImpl::onCallControlModeChange");
    auto spContent = std::make_shared<Ptree>();
    spContent->push_back(Ptree::value_type("phoneMode", Ptree(phoneMode)));
    spContent->push_back(Ptree::value_type("deviceName", Ptree(deviceName)));
    spContent->push_back(Ptree::value_type("lineDN", Ptree(lineDN)));
    queueTask(kSrc, newEvent(events::kCallControlModeChange, spContent));
}

void ZepWConnectionObserverImpl::onZepTelephonyDevicesChanged(
    std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>> devices) {
    PELA_LOG4(getLog(), kSrc, "ZepWConnectionObserverImpl::onZepTelephonyDevicesChanged");
    auto spContent = std::make_shared<Ptree>();
    spContent->push_back(Ptree::value_type("devices", ZepPhoneInfoPtree::vectorToPtree(devices)));
    queueTask(kSrc, newEvent(events::kTelephonyDevicesChange, spContent));
}

}  // namespace tessel
