#include "bridge/ZepWCallStateObserverImpl.h"

#include "bridge/ZepCallInfoPtree.h"
#include "dispatch/HandleKnownContentEventTask.h"
#include "logging/LogMacros.h"
#include "messages/EventNames.h"
#include "messages/JSONHack.h"
#include "threading/ScopedLock.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ZepWCallStateObserverImpl";

void ZepWCallStateObserverImpl::registerSelf() {
    registerWithFramework(kSrc, weak_from_this().lock(), "Registered ZepW CallStateObserver",
                          "ZepWCallStateObserverImpl::registerSelf failed, pZepW NULL");
}

void ZepWCallStateObserverImpl::unregisterSelf() {
    unregisterFromFramework(kSrc, weak_from_this().lock(), "Unregistered ZepW CallStateObserver",
                            "ZepWCallStateObserverImpl::unregisterSelf failed, pZepW NULL");
}

void ZepWCallStateObserverImpl::onCallStateChange(const std::string& callEvent, std::shared_ptr<ZepCallInfo> call,
                                                  int callId) {
    PELA_LOG4(getLog(), kSrc, "ZepWCallStateObserverImpl::onCallStateChange");
    ozk::ScopedLock lock(getMutex());
    if (getZepW() == nullptr) {
        PELA_LOG4(getLog(), kSrc, "No ZepW. Ignore event.");
        return;
    }
    if (!getTaskSinkOrLog(kSrc)) {
        return;
    }
    auto spContent = std::make_shared<Ptree>(ZepCallInfoPtree::toPtree(call, callId, callEvent));
    queueTask(kSrc, newEvent(events::kCallStateChange, spContent));
}

void ZepWCallStateObserverImpl::onAttendedTransferStateChange(int callId) {
    PELA_LOG4(getLog(), kSrc, "ZepWCallStateObserverImpl::onAttendedTransferStateChange callid:" << callId);
    auto spContent = std::make_shared<Ptree>();
    spContent->put("callId", JSONHack::getInt(callId));
    queueTask(kSrc, newEvent(events::kAttendedTransferStateChange, spContent));
}

void ZepWCallStateObserverImpl::onCallVideoResolutionChange(unsigned, unsigned, int) {
    // Pages have no use for the resolution.
}

}  // namespace tessel
