#include "ZepWrapperImpl.h"

#include <exception>
#include <utility>

#include <zepwrapper/ZepConnectionObserver.h>
#include <zepwrapper/ZepStartupObserver.h>

#include "StateFolder.h"
#include "VideoWindowGtk.h"
#include "ZepLog.h"
#include "zepwrapper/ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/ZepWrapperImpl";

ZepWrapperImpl::ZepWrapperImpl() : m_window(m_context, m_calls, std::make_unique<VideoWindowGtk>()) {}

ZepWrapperImpl::~ZepWrapperImpl() = default;

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
    std::string holder;
    if (!m_stateLock.acquire(folder, holder)) {
        // Two engines on one folder would corrupt its files and fight over
        // the SIP account. Pages hear why; the next start tries again.
        ZEP_LOG(OZKLogLevelError, kSrc, "start failed, state folder [" << folder << "] in use: " << holder);
        const std::string reason =
            "another softphone host (" + holder + ") is running for this user, for another browser or profile";
        m_context.deliver<ZepConnectionObserver>("onConnectionFailure",
                                                 [&](ZepConnectionObserver& o) { o.onConnectionFailure(reason); });
        return;
    }
    if (!m_engine.start(folder, error)) {
        ZEP_LOG(OZKLogLevelError, kSrc, "start failed: " << error);
        m_stateLock.release();
        return;
    }
    m_started = true;
    m_sso.setStateFolder(folder);
    // Without a sound server calls run on files and nothing rings; the log says so.
    m_sound.connect([this] { m_queue.post([this] { onSoundDevicesChanged(); }); });
    m_calls.setRingingListener([this](bool in, bool out) { m_ringer.update(in, out); });
    m_calls.setChangeListener([this](int callId) { m_window.onCallChanged(callId); });
    m_account.onEngineStarted();
    m_calls.onEngineStarted();
    // After the call manager: its choice of sound card or files resets the devices.
    m_devices.onEngineStarted();
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
    // Nothing may draw into the window once the engine goes.
    m_window.onEngineStopping();
    // Pages hear that their calls ended before they hear that we stopped.
    m_calls.onEngineStopping();
    m_started = false;
    notifyStopped();
    m_account.onEngineStopping();
    m_http.cancelAll();
    m_ringer.stop();
    m_sound.disconnect();
    m_engine.stop();
    const size_t dropped = m_queue.clear();
    if (dropped > 0) ZEP_LOG(OZKLogLevelInfo, kSrc, "stop: dropped [" << dropped << "] queued tasks");
    m_stateLock.release();
    m_stopping = false;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "stopped");
}

bool ZepWrapperImpl::isStarted() const {
    return m_started;
}

void ZepWrapperImpl::pumpNextDispatcherTask() {
    if (!m_started) return;
    m_engine.iterate();
    m_queue.runPending();
    m_devices.pump();
    m_http.pump();
    m_sso.pump();
}

namespace {
// The engine's round when nothing is under way: its timers (registration
// refresh, retransmissions) and an incoming INVITE wait at most this long.
const long kIdleEngineRound = 50;
}  // namespace

long ZepWrapperImpl::dispatcherIdleMs() {
    if (!m_started) return -1;
    long wait = m_queue.msUntilDue(DispatchQueue::Clock::now());
    auto atMost = [&wait](long ms) {
        if (ms >= 0 && (wait < 0 || ms < wait)) wait = ms;
    };
    atMost(m_calls.msUntilEngineRound());
    // Replies to a REGISTER or an HTTP request are read on the pump.
    if (m_account.registering() || m_http.busy()) atMost(1);
    atMost(kIdleEngineRound);
    return wait;
}

void ZepWrapperImpl::setDispatcherWakeUp(std::function<void()> wake) {
    m_queue.setWakeUp(std::move(wake));
}

void ZepWrapperImpl::onSoundDevicesChanged() {
    if (!m_started) return;
    m_calls.chooseAudio();
    m_devices.onDevicesChanged();
    m_ringer.onRingerDeviceChanged();
}

void ZepWrapperImpl::notifyStarted() {
    m_context.deliver<ZepStartupObserver>("onZepMediaDeviceFeatureSetStarted",
                                          [](ZepStartupObserver& o) { o.onZepMediaDeviceFeatureSetStarted(); });
}

void ZepWrapperImpl::notifyStopped() {
    m_context.deliver<ZepStartupObserver>("onZepMediaDeviceFeatureSetStopped",
                                          [](ZepStartupObserver& o) { o.onZepMediaDeviceFeatureSetStopped(); });
}

int ZepWrapperImpl::notSupported(const char* operation) const {
    ZEP_LOG(OZKLogLevelNotice, kSrc, operation << ": not supported");
    return ApiReturnCodeEnum::eOperationNotSupported;
}

// --- Sign-in and connection ---------------------------------------------------

int ZepWrapperImpl::logout() {
    return m_account.logout();
}

void ZepWrapperImpl::setLoryAddressList(const std::vector<std::string>& addresses) {
    m_account.setLoryAddressList(addresses);
}

void ZepWrapperImpl::setTftpAddressList(const std::vector<std::string>& addresses) {
    m_account.setTftpAddressList(addresses);
}

void ZepWrapperImpl::setCtiAddressList(const std::vector<std::string>& addresses) {
    m_account.setCtiAddressList(addresses);
}

int ZepWrapperImpl::startSignIn(bool manualSettings) {
    return m_account.startSignIn(manualSettings);
}

int ZepWrapperImpl::setUserProfileEmailAddress(const std::string& email) {
    return m_account.setUserProfileEmailAddress(email);
}

int ZepWrapperImpl::setUserProfileCredentials(unsigned authenticator, const std::string& username,
                                              const std::string& password) {
    return m_account.setUserProfileCredentials(authenticator, username, password);
}

std::shared_ptr<ZepDeviceAndPhoneInfo> ZepWrapperImpl::getDeviceAndPhoneInfo() {
    return m_account.getDeviceAndPhoneInfo();
}

int ZepWrapperImpl::getConnectionStatus(std::string& status) {
    return m_account.getConnectionStatus(status);
}

int ZepWrapperImpl::getMode(std::string& mode) {
    return m_account.getMode(mode);
}

int ZepWrapperImpl::connect(const std::string& deviceName, const std::string& lineDN, bool forceRegistration) {
    return m_account.connect(deviceName, lineDN, forceRegistration);
}

int ZepWrapperImpl::getAvailableDevices(PhoneList& devices) {
    return m_account.getAvailableDevices(devices);
}

int ZepWrapperImpl::encryptPboxPassword(const std::string& password, std::string& encrypted) {
    return m_account.encryptPboxPassword(password, encrypted);
}

int ZepWrapperImpl::handleInvalidCertificate(const std::string& certFingerprint, bool accept) {
    return m_account.handleInvalidCertificate(certFingerprint, accept);
}

int ZepWrapperImpl::resetData() {
    return m_account.resetData();
}

int ZepWrapperImpl::configure(const std::string& shmLocalName, const std::string& shmRemoteName) {
    return m_account.configure(shmLocalName, shmRemoteName);
}

// --- Calls ---------------------------------------------------------------------

int ZepWrapperImpl::joinCalls(int callId, int joinCallId) {
    return m_calls.joinCalls(callId, joinCallId);
}

int ZepWrapperImpl::transferCall(int callId, const std::string& number) {
    return m_calls.transferCall(callId, number);
}

int ZepWrapperImpl::originate(const std::string& recipient, int& callId, const std::string& videoDirection,
                              uint64_t windowhandle) {
    return m_calls.originate(recipient, callId, videoDirection, windowhandle);
}

int ZepWrapperImpl::answer(int callId, const std::string& videoDirection, uint64_t windowhandle) {
    return m_calls.answer(callId, videoDirection, windowhandle);
}

int ZepWrapperImpl::endCall(int callId) {
    return m_calls.endCall(callId);
}

int ZepWrapperImpl::mute(int callId, bool audio, bool video) {
    return m_calls.mute(callId, audio, video);
}

int ZepWrapperImpl::unmute(int callId, bool audio, bool video) {
    return m_calls.unmute(callId, audio, video);
}

int ZepWrapperImpl::hold(int callId) {
    return m_calls.hold(callId);
}

int ZepWrapperImpl::resume(int callId) {
    return m_calls.resume(callId);
}

int ZepWrapperImpl::iDivert(int callId) {
    return m_calls.iDivert(callId);
}

int ZepWrapperImpl::sendDTMF(int callId, const std::string& digit) {
    return m_calls.sendDTMF(callId, digit);
}

int ZepWrapperImpl::setVideoDirection(int callId, const std::string& direction) {
    return m_calls.setVideoDirection(callId, direction);
}

int ZepWrapperImpl::completeTransferCall(int callId) {
    return m_calls.completeTransferCall(callId);
}

int ZepWrapperImpl::cancelTransfer(int callId) {
    return m_calls.cancelTransfer(callId);
}

int ZepWrapperImpl::getCalls(std::vector<int>& callIds) {
    return m_calls.getCalls(callIds);
}

int ZepWrapperImpl::getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call) {
    return m_calls.getCallInfo(callId, call);
}

// --- Media devices and volumes ------------------------------------------------

int ZepWrapperImpl::setCaptureDevice(const std::string& id) {
    return m_devices.setCaptureDevice(id);
}

int ZepWrapperImpl::setPlayoutDevice(const std::string& id) {
    return m_devices.setPlayoutDevice(id);
}

int ZepWrapperImpl::setRecordingDevice(const std::string& id) {
    return m_devices.setRecordingDevice(id);
}

int ZepWrapperImpl::setRingerDevice(const std::string& id) {
    const int result = m_devices.setRingerDevice(id);
    if (result == ApiReturnCodeEnum::eNoError) m_ringer.onRingerDeviceChanged();
    return result;
}

int ZepWrapperImpl::setCurrentSpeakerVolume(int volume) {
    return m_devices.setVolume("speaker", volume);
}

int ZepWrapperImpl::setCurrentRingerVolume(int volume) {
    const int result = m_devices.setVolume("ringer", volume);
    if (result == ApiReturnCodeEnum::eNoError) m_ringer.onRingerVolumeChanged();
    return result;
}

int ZepWrapperImpl::setCurrentMicrophoneVolume(int volume) {
    return m_devices.setVolume("microphone", volume);
}

int ZepWrapperImpl::getCurrentSpeakerVolume(int& volume) {
    return m_devices.getVolume("speaker", volume);
}

int ZepWrapperImpl::getCurrentRingerVolume(int& volume) {
    return m_devices.getVolume("ringer", volume);
}

int ZepWrapperImpl::getCurrentMicrophoneVolume(int& volume) {
    return m_devices.getVolume("microphone", volume);
}

int ZepWrapperImpl::getMultimediaDeviceVolume(const std::string& device, int& volume) {
    return m_devices.getVolume(device, volume);
}

int ZepWrapperImpl::getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) {
    return m_devices.getMultimediaDevices(devices);
}

// --- Not served: single sign-on ---------------------------------------------

int ZepWrapperImpl::ssoNavigationCompleted(int64_t result, const std::string& url, const std::string& document) {
    if (!m_started) return ApiReturnCodeEnum::eInvalidState;
    return m_sso.navigationCompleted(result, url, document);
}

int ZepWrapperImpl::restablishSSOSession() {
    if (!m_started) return ApiReturnCodeEnum::eInvalidState;
    return m_sso.restablish();
}

int ZepWrapperImpl::getSSOSessionTimeRemaining(int64_t& time) {
    if (!m_started) return ApiReturnCodeEnum::eInvalidState;
    return m_sso.timeRemaining(time);
}

int ZepWrapperImpl::cancelSingleSignOn() {
    if (!m_started) return ApiReturnCodeEnum::eInvalidState;
    return m_sso.cancel();
}

int ZepWrapperImpl::suppressSSOSessionExpiryPrompt() {
    return m_sso.suppressPrompt();
}

int ZepWrapperImpl::unsuppressSSOSessionExpiryPrompt(bool promptIfExpired) {
    return m_sso.unsuppressPrompt(promptIfExpired);
}

// --- Not served yet: video windows ------------------------------------------

int ZepWrapperImpl::addPreviewWindow() {
    return m_window.addPreviewWindow();
}

int ZepWrapperImpl::removePreviewWindow() {
    return m_window.removePreviewWindow();
}

int ZepWrapperImpl::addWindowToCall(int callId) {
    return m_window.addWindowToCall(callId);
}

int ZepWrapperImpl::removeWindowFromCall(int callId) {
    return m_window.removeWindowFromCall(callId);
}

int ZepWrapperImpl::showCallInExternalWindow(int callId) {
    return m_window.showCall(callId);
}

int ZepWrapperImpl::showPreviewInExternalWindow() {
    return m_window.showPreview();
}

int ZepWrapperImpl::getExternalWindowState() {
    m_window.reportState();
    return ApiReturnCodeEnum::eNoError;
}

int ZepWrapperImpl::hideExternalWindow() {
    m_window.hide();
    return ApiReturnCodeEnum::eNoError;
}

int ZepWrapperImpl::setExternalWindowAlwaysOnTop(bool onTop) {
    return m_window.setAlwaysOnTop(onTop);
}

int ZepWrapperImpl::setExternalWindowShowControls(bool show) {
    return m_window.setShowControls(show);
}

int ZepWrapperImpl::setExternalWindowShowSelfViewPip(bool show) {
    return m_window.setShowSelfViewPip(show);
}

int ZepWrapperImpl::setExternalWindowTitle(const std::string& title) {
    return m_window.setTitle(title);
}

int ZepWrapperImpl::dockExternalWindow(int offsetX, int offsetY, int width, int height, const std::string& title,
                                       int cropOffsetX, int cropOffsetY, int cropWidth, int cropHeight) {
    return m_window.dock({offsetX, offsetY, width, height, 0, 0, cropOffsetX, cropOffsetY, cropWidth, cropHeight},
                         title);
}

int ZepWrapperImpl::dockUpdate(int offsetX, int offsetY, int width, int height, int pageWidth, int pageHeight,
                               int cropOffsetX, int cropOffsetY, int cropWidth, int cropHeight) {
    return m_window.dockUpdate(
        {offsetX, offsetY, width, height, pageWidth, pageHeight, cropOffsetX, cropOffsetY, cropWidth, cropHeight});
}

int ZepWrapperImpl::undockExternalWindow() {
    return m_window.undock();
}

}  // namespace zep
}  // namespace tessel
