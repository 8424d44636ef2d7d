#include "ZepWCallStateObserverImpl.h"

#include "HandleKnownContentEventTask.h"
#include "JSONHack.h"
#include "LogMacros.h"
#include "ScopedLock.h"
#include "ZepCallInfoPtree.h"

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
    queueTask(kSrc, newEvent("callstatechange", spContent));
}

void ZepWCallStateObserverImpl::onAttendedTransferStateChange(int callId) {
    PELA_LOG4(getLog(), kSrc, "ZepWCallStateObserverImpl::onAttendedTransferStateChange callid:" << callId);
    auto spContent = std::make_shared<Ptree>();
    spContent->put("callId", JSONHack::getInt(callId));
    queueTask(kSrc, newEvent("attendedtransferstatechange", spContent));
}

void ZepWCallStateObserverImpl::onCallVideoResolutionChange(unsigned, unsigned, int) {
    // Pages have no use for the resolution.
}

}  // namespace tessel
