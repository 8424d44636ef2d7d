#include "ZepWrapperImpl.h"

#include <exception>

#include <zepwrapper/ZepStartupObserver.h>

#include "ResultCodes.h"
#include "StateFolder.h"
#include "ZepLog.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/ZepWrapperImpl";

ZepWrapperImpl::~ZepWrapperImpl() = default;

template <class Kind, class Fn>
void ZepWrapperImpl::deliver(const char* callback, Fn fn) {
    m_observers.notify<Kind>([&](Kind& observer) {
        try {
            fn(observer);
        } catch (const std::exception& e) {
            ZEP_LOG(OZKLogLevelError, kSrc, "UNEXPECTED exception from observer in " << callback << " [" << e.what() << "]");
        } catch (...) {
            ZEP_LOG(OZKLogLevelError, kSrc, "UNEXPECTED unknown exception from observer in " << callback);
        }
    });
}

void ZepWrapperImpl::registerObserver(std::shared_ptr<IObserverObject> observer) {
    if (!observer) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "registerObserver: empty observer ignored");
        return;
    }
    if (!m_observers.add(observer)) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "registerObserver: already registered");
    }
}

void ZepWrapperImpl::unregisterObserver(std::shared_ptr<IObserverObject> observer) {
    if (!m_observers.remove(observer)) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "unregisterObserver: not registered");
    }
}

void ZepWrapperImpl::start() {
    if (m_started) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "start: already started");
        return;
    }
    if (m_stopping) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "start: ignored while stopping");
        return;
    }
    std::string folder;
    std::string error;
    if (!StateFolder::prepare(folder, error)) {
        ZEP_LOG(OZKLogLevelError, kSrc, "start failed, state folder unusable: " << error);
        return;
    }
    if (!m_engine.start(folder, error)) {
        ZEP_LOG(OZKLogLevelError, kSrc, "start failed: " << error);
        return;
    }
    m_started = true;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "started, state folder [" << folder << "]");
    // Observers hear about it from the pump, like every other framework event.
    m_queue.post([this] { notifyStarted(); });
}

void ZepWrapperImpl::stop() {
    if (!m_started || m_stopping) return;
    m_stopping = true;
    // Work queued while running belongs to this run: observers see it, and
    // "started" before "stopped", rather than in the next run.
    m_queue.runPending();
    m_started = false;
    notifyStopped();
    m_engine.stop();
    const size_t dropped = m_queue.clear();
    if (dropped > 0) ZEP_LOG(OZKLogLevelInfo, kSrc, "stop: dropped [" << dropped << "] queued tasks");
    m_stopping = false;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "stopped");
}

bool ZepWrapperImpl::isStarted() const { return m_started; }

void ZepWrapperImpl::pumpNextDispatcherTask() {
    if (!m_started) return;
    m_engine.iterate();
    m_queue.runPending();
}

void ZepWrapperImpl::notifyStarted() {
    deliver<ZepStartupObserver>("onZepMediaDeviceFeatureSetStarted",
                                [](ZepStartupObserver& o) { o.onZepMediaDeviceFeatureSetStarted(); });
}

void ZepWrapperImpl::notifyStopped() {
    deliver<ZepStartupObserver>("onZepMediaDeviceFeatureSetStopped",
                                [](ZepStartupObserver& o) { o.onZepMediaDeviceFeatureSetStopped(); });
}

int ZepWrapperImpl::notSupported(const char* operation) const {
    ZEP_LOG(OZKLogLevelNotice, kSrc, operation << ": not supported");
    return kResultOperationNotSupported;
}

// --- Not served yet: sign-in and connection ---------------------------------

int ZepWrapperImpl::logout() { return notSupported("logout"); }

void ZepWrapperImpl::setLoryAddressList(const std::vector<std::string>&) { notSupported("setLoryAddressList"); }

void ZepWrapperImpl::setTftpAddressList(const std::vector<std::string>&) { notSupported("setTftpAddressList"); }

void ZepWrapperImpl::setCtiAddressList(const std::vector<std::string>&) { notSupported("setCtiAddressList"); }

int ZepWrapperImpl::startSignIn(bool) { return notSupported("startSignIn"); }

int ZepWrapperImpl::setUserProfileEmailAddress(const std::string&) {
    return notSupported("setUserProfileEmailAddress");
}

int ZepWrapperImpl::setUserProfileCredentials(unsigned, const std::string&, const std::string&) {
    return notSupported("setUserProfileCredentials");
}

std::shared_ptr<ZepDeviceAndPhoneInfo> ZepWrapperImpl::getDeviceAndPhoneInfo() {
    // No device is selected until sign-in exists.
    return std::shared_ptr<ZepDeviceAndPhoneInfo>();
}

int ZepWrapperImpl::getConnectionStatus(std::string&) { return notSupported("getConnectionStatus"); }

int ZepWrapperImpl::getMode(std::string&) { return notSupported("getMode"); }

int ZepWrapperImpl::connect(const std::string&, const std::string&, bool) { return notSupported("connect"); }

int ZepWrapperImpl::getAvailableDevices(PhoneList&) { return notSupported("getAvailableDevices"); }

int ZepWrapperImpl::encryptPboxPassword(const std::string&, std::string&) {
    return notSupported("encryptPboxPassword");
}

int ZepWrapperImpl::handleInvalidCertificate(const std::string&, bool) {
    return notSupported("handleInvalidCertificate");
}

// --- Not served yet: calls ---------------------------------------------------

int ZepWrapperImpl::joinCalls(int, int) { return notSupported("joinCalls"); }

int ZepWrapperImpl::transferCall(int, const std::string&) { return notSupported("transferCall"); }

int ZepWrapperImpl::originate(const std::string&, int&, const std::string&, uint64_t) {
    return notSupported("originate");
}

int ZepWrapperImpl::answer(int, const std::string&, uint64_t) { return notSupported("answer"); }

int ZepWrapperImpl::endCall(int) { return notSupported("endCall"); }

int ZepWrapperImpl::mute(int, bool, bool) { return notSupported("mute"); }

int ZepWrapperImpl::unmute(int, bool, bool) { return notSupported("unmute"); }

int ZepWrapperImpl::hold(int) { return notSupported("hold"); }

int ZepWrapperImpl::resume(int) { return notSupported("resume"); }

int ZepWrapperImpl::iDivert(int) { return notSupported("iDivert"); }

int ZepWrapperImpl::sendDTMF(int, const std::string&) { return notSupported("sendDTMF"); }

int ZepWrapperImpl::setVideoDirection(int, const std::string&) { return notSupported("setVideoDirection"); }

int ZepWrapperImpl::completeTransferCall(int) { return notSupported("completeTransferCall"); }

int ZepWrapperImpl::cancelTransfer(int) { return notSupported("cancelTransfer"); }

int ZepWrapperImpl::getCalls(std::vector<int>&) { return notSupported("getCalls"); }

int ZepWrapperImpl::getCallInfo(int, std::shared_ptr<ZepCallInfo>& call) {
    call.reset();
    return notSupported("getCallInfo");
}

// --- Not served yet: media devices and volumes -------------------------------

int ZepWrapperImpl::setCaptureDevice(const std::string&) { return notSupported("setCaptureDevice"); }

int ZepWrapperImpl::setPlayoutDevice(const std::string&) { return notSupported("setPlayoutDevice"); }

int ZepWrapperImpl::setRecordingDevice(const std::string&) { return notSupported("setRecordingDevice"); }

int ZepWrapperImpl::setRingerDevice(const std::string&) { return notSupported("setRingerDevice"); }

int ZepWrapperImpl::setCurrentSpeakerVolume(int) { return notSupported("setCurrentSpeakerVolume"); }

int ZepWrapperImpl::setCurrentRingerVolume(int) { return notSupported("setCurrentRingerVolume"); }

int ZepWrapperImpl::setCurrentMicrophoneVolume(int) { return notSupported("setCurrentMicrophoneVolume"); }

int ZepWrapperImpl::getCurrentSpeakerVolume(int&) { return notSupported("getCurrentSpeakerVolume"); }

int ZepWrapperImpl::getCurrentRingerVolume(int&) { return notSupported("getCurrentRingerVolume"); }

int ZepWrapperImpl::getCurrentMicrophoneVolume(int&) { return notSupported("getCurrentMicrophoneVolume"); }

int ZepWrapperImpl::getMultimediaDeviceVolume(const std::string&, int&) {
    return notSupported("getMultimediaDeviceVolume");
}

int ZepWrapperImpl::getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>&) {
    return notSupported("getMultimediaDevices");
}

// --- Not served: single sign-on ---------------------------------------------

int ZepWrapperImpl::ssoNavigationCompleted(int64_t, const std::string&, const std::string&) {
    return notSupported("ssoNavigationCompleted");
}

int ZepWrapperImpl::restablishSSOSession() { return notSupported("restablishSSOSession"); }

int ZepWrapperImpl::resetData() { return notSupported("resetData"); }

int ZepWrapperImpl::getSSOSessionTimeRemaining(int64_t&) { return notSupported("getSSOSessionTimeRemaining"); }

int ZepWrapperImpl::cancelSingleSignOn() { return notSupported("cancelSingleSignOn"); }

int ZepWrapperImpl::suppressSSOSessionExpiryPrompt() { return notSupported("suppressSSOSessionExpiryPrompt"); }

int ZepWrapperImpl::unsuppressSSOSessionExpiryPrompt(bool) { return notSupported("unsuppressSSOSessionExpiryPrompt"); }

// --- Not served yet: video windows ------------------------------------------

int ZepWrapperImpl::addPreviewWindow() { return notSupported("addPreviewWindow"); }

int ZepWrapperImpl::removePreviewWindow() { return notSupported("removePreviewWindow"); }

int ZepWrapperImpl::addWindowToCall(int) { return notSupported("addWindowToCall"); }

int ZepWrapperImpl::removeWindowFromCall(int) { return notSupported("removeWindowFromCall"); }

int ZepWrapperImpl::configure(const std::string&, const std::string&) { return notSupported("configure"); }

int ZepWrapperImpl::showCallInExternalWindow(int) { return notSupported("showCallInExternalWindow"); }

int ZepWrapperImpl::showPreviewInExternalWindow() { return notSupported("showPreviewInExternalWindow"); }

int ZepWrapperImpl::getExternalWindowState() { return notSupported("getExternalWindowState"); }

int ZepWrapperImpl::hideExternalWindow() { return notSupported("hideExternalWindow"); }

int ZepWrapperImpl::setExternalWindowAlwaysOnTop(bool) { return notSupported("setExternalWindowAlwaysOnTop"); }

int ZepWrapperImpl::setExternalWindowShowControls(bool) { return notSupported("setExternalWindowShowControls"); }

int ZepWrapperImpl::setExternalWindowShowSelfViewPip(bool) {
    return notSupported("setExternalWindowShowSelfViewPip");
}

int ZepWrapperImpl::setExternalWindowTitle(const std::string&) { return notSupported("setExternalWindowTitle"); }

int ZepWrapperImpl::dockExternalWindow(int, int, int, int, const std::string&, int, int, int, int) {
    return notSupported("dockExternalWindow");
}

int ZepWrapperImpl::dockUpdate(int, int, int, int, int, int, int, int, int, int) {
    return notSupported("dockUpdate");
}

int ZepWrapperImpl::undockExternalWindow() { return notSupported("undockExternalWindow"); }

}  // namespace zep
}  // namespace tessel
