#include "FakeZepWrapper.h"

#include <algorithm>

namespace tessel {
namespace test {

namespace {

std::string arg(int value) {
    return std::to_string(value);
}

std::string arg(unsigned value) {
    return std::to_string(value);
}

std::string arg(int64_t value) {
    return std::to_string(value);
}

std::string arg(uint64_t value) {
    return std::to_string(value);
}

std::string arg(bool value) {
    return value ? "true" : "false";
}

std::string arg(const std::string& value) {
    return value;
}

std::string arg(const std::vector<std::string>& values) {
    std::string text = "[";
    for (size_t i = 0; i < values.size(); ++i) {
        text += (i == 0 ? "" : ", ") + values[i];
    }
    return text + "]";
}

std::string format(const std::string& operation, const std::vector<std::string>& args) {
    std::string text = operation + "(";
    for (size_t i = 0; i < args.size(); ++i) {
        text += (i == 0 ? "" : ", ") + args[i];
    }
    return text + ")";
}

}  // namespace

// --- scripting ---

void FakeZepWrapper::setResult(const std::string& operation, int code) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_results[operation] = code;
}

void FakeZepWrapper::setDeviceAndPhoneInfoOut(std::shared_ptr<ZepDeviceAndPhoneInfo> device) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_spDevice = device;
}

void FakeZepWrapper::setConnectionStatusOut(const std::string& status) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_connectionStatus = status;
}

void FakeZepWrapper::setModeOut(const std::string& mode) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_mode = mode;
}

void FakeZepWrapper::setOriginateCallIdOut(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_originateCallId = callId;
}

void FakeZepWrapper::setSpeakerVolumeOut(int volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_speakerVolume = volume;
}

void FakeZepWrapper::setRingerVolumeOut(int volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_ringerVolume = volume;
}

void FakeZepWrapper::setMicrophoneVolumeOut(int volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_microphoneVolume = volume;
}

void FakeZepWrapper::setMultimediaDeviceVolumeOut(int volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_deviceVolume = volume;
}

void FakeZepWrapper::setSSOSessionTimeRemainingOut(int64_t time) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_ssoTimeRemaining = time;
}

void FakeZepWrapper::setMultimediaDevicesOut(const std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_multimediaDevices = devices;
}

void FakeZepWrapper::setAvailableDevicesOut(PhoneList devices) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_spAvailableDevices = devices;
}

void FakeZepWrapper::setCallsOut(const std::vector<int>& callIds) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_callIds = callIds;
}

void FakeZepWrapper::setCallInfoOut(int callId, std::shared_ptr<ZepCallInfo> call) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_callInfos[callId] = call;
}

void FakeZepWrapper::setEncryptedOut(const std::string& encrypted) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_encrypted = encrypted;
}

void FakeZepWrapper::setOnPump(std::function<void()> hook) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onPump = hook;
}

// --- inspection ---

std::vector<std::string> FakeZepWrapper::calls() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> out;
    for (const Call& call : m_calls) {
        out.push_back(format(call.operation, call.args));
    }
    return out;
}

size_t FakeZepWrapper::callCount(const std::string& operation) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::count_if(m_calls.begin(), m_calls.end(), [&](const Call& call) { return call.operation == operation; });
}

std::vector<std::string> FakeZepWrapper::lastArgs(const std::string& operation) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_calls.rbegin(); it != m_calls.rend(); ++it) {
        if (it->operation == operation) {
            return it->args;
        }
    }
    return std::vector<std::string>();
}

void FakeZepWrapper::clearCalls() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.clear();
    m_pumpCount = 0;
}

int FakeZepWrapper::pumpCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_pumpCount;
}

std::vector<std::shared_ptr<IObserverObject>> FakeZepWrapper::observers() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::shared_ptr<IObserverObject>> out;
    for (const auto& wpObserver : m_observers) {
        if (auto spObserver = wpObserver.lock()) {
            out.push_back(spObserver);
        }
    }
    return out;
}

std::string FakeZepWrapper::kindsOf(const IObserverObject& observer) {
    const IObserverObject* p = &observer;
    std::vector<std::string> kinds;
    if (dynamic_cast<const ZepCallStateObserver*>(p)) kinds.push_back("callstate");
    if (dynamic_cast<const ZepConnectionObserver*>(p)) kinds.push_back("connection");
    if (dynamic_cast<const ZepStartupObserver*>(p)) kinds.push_back("startup");
    if (dynamic_cast<const ZepLoginObserver*>(p)) kinds.push_back("login");
    if (dynamic_cast<const ZepCertificateObserver*>(p)) kinds.push_back("certificate");
    if (dynamic_cast<const ZepMediaDeviceObserver*>(p)) kinds.push_back("mediadevice");
    if (dynamic_cast<const ZepExternalWindowObserver*>(p)) kinds.push_back("externalwindow");
    std::string text;
    for (size_t i = 0; i < kinds.size(); ++i) {
        text += (i == 0 ? "" : "+") + kinds[i];
    }
    return text;
}

int FakeZepWrapper::_record(const std::string& operation, std::vector<std::string> args) {
    m_calls.push_back(Call{operation, std::move(args)});
    auto it = m_results.find(operation);
    return it == m_results.end() ? 0 : it->second;
}

// --- ZepWrapperAPI ---

void FakeZepWrapper::registerObserver(std::shared_ptr<IObserverObject> observer) {
    std::lock_guard<std::mutex> lock(m_mutex);
    _record("registerObserver", {observer ? kindsOf(*observer) : "null"});
    if (!observer) {
        return;
    }
    for (const auto& wpObserver : m_observers) {
        if (wpObserver.lock() == observer) {
            return;
        }
    }
    m_observers.push_back(observer);
}

void FakeZepWrapper::unregisterObserver(std::shared_ptr<IObserverObject> observer) {
    std::lock_guard<std::mutex> lock(m_mutex);
    _record("unregisterObserver", {observer ? kindsOf(*observer) : "null"});
    m_observers.erase(std::remove_if(m_observers.begin(), m_observers.end(),
                                     [&](const std::weak_ptr<IObserverObject>& wpObserver) {
                                         std::shared_ptr<IObserverObject> spObserver = wpObserver.lock();
                                         return !spObserver || spObserver == observer;
                                     }),
                      m_observers.end());
}

void FakeZepWrapper::start() {
    std::lock_guard<std::mutex> lock(m_mutex);
    _record("start", {});
    m_started = true;
}

void FakeZepWrapper::stop() {
    std::lock_guard<std::mutex> lock(m_mutex);
    _record("stop", {});
    m_started = false;
}

int FakeZepWrapper::logout() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("logout", {});
}

bool FakeZepWrapper::isStarted() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_started;
}

void FakeZepWrapper::pumpNextDispatcherTask() {
    std::function<void()> hook;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_pumpCount;
        hook = m_onPump;
    }
    if (hook) {
        hook();
    }
}

void FakeZepWrapper::setLoryAddressList(const std::vector<std::string>& addresses) {
    std::lock_guard<std::mutex> lock(m_mutex);
    _record("setLoryAddressList", {arg(addresses)});
}

void FakeZepWrapper::setTftpAddressList(const std::vector<std::string>& addresses) {
    std::lock_guard<std::mutex> lock(m_mutex);
    _record("setTftpAddressList", {arg(addresses)});
}

void FakeZepWrapper::setCtiAddressList(const std::vector<std::string>& addresses) {
    std::lock_guard<std::mutex> lock(m_mutex);
    _record("setCtiAddressList", {arg(addresses)});
}

int FakeZepWrapper::startSignIn(bool manualSettings) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("startSignIn", {arg(manualSettings)});
}

int FakeZepWrapper::setUserProfileEmailAddress(const std::string& email) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setUserProfileEmailAddress", {arg(email)});
}

int FakeZepWrapper::setUserProfileCredentials(unsigned authenticator, const std::string& username,
                                              const std::string& password) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setUserProfileCredentials", {arg(authenticator), arg(username), arg(password)});
}

int FakeZepWrapper::joinCalls(int callId, int joinCallId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("joinCalls", {arg(callId), arg(joinCallId)});
}

int FakeZepWrapper::transferCall(int callId, const std::string& number) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("transferCall", {arg(callId), arg(number)});
}

int FakeZepWrapper::originate(const std::string& recipient, int& callId, const std::string& videoDirection,
                              uint64_t windowhandle) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("originate", {arg(recipient), arg(videoDirection), arg(windowhandle)});
    if (code == 0) {
        callId = m_originateCallId;
    }
    return code;
}

int FakeZepWrapper::answer(int callId, const std::string& videoDirection, uint64_t windowhandle) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("answer", {arg(callId), arg(videoDirection), arg(windowhandle)});
}

int FakeZepWrapper::endCall(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("endCall", {arg(callId)});
}

int FakeZepWrapper::mute(int callId, bool audio, bool video) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("mute", {arg(callId), arg(audio), arg(video)});
}

int FakeZepWrapper::unmute(int callId, bool audio, bool video) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("unmute", {arg(callId), arg(audio), arg(video)});
}

int FakeZepWrapper::hold(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("hold", {arg(callId)});
}

int FakeZepWrapper::resume(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("resume", {arg(callId)});
}

int FakeZepWrapper::iDivert(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("iDivert", {arg(callId)});
}

int FakeZepWrapper::sendDTMF(int callId, const std::string& digit) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("sendDTMF", {arg(callId), arg(digit)});
}

int FakeZepWrapper::setCaptureDevice(const std::string& id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setCaptureDevice", {arg(id)});
}

int FakeZepWrapper::setPlayoutDevice(const std::string& id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setPlayoutDevice", {arg(id)});
}

int FakeZepWrapper::setRecordingDevice(const std::string& id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setRecordingDevice", {arg(id)});
}

int FakeZepWrapper::setRingerDevice(const std::string& id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setRingerDevice", {arg(id)});
}

std::shared_ptr<ZepDeviceAndPhoneInfo> FakeZepWrapper::getDeviceAndPhoneInfo() {
    std::lock_guard<std::mutex> lock(m_mutex);
    _record("getDeviceAndPhoneInfo", {});
    return m_spDevice;
}

int FakeZepWrapper::getConnectionStatus(std::string& status) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getConnectionStatus", {});
    if (code == 0) {
        status = m_connectionStatus;
    }
    return code;
}

int FakeZepWrapper::getMode(std::string& mode) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getMode", {});
    if (code == 0) {
        mode = m_mode;
    }
    return code;
}

int FakeZepWrapper::connect(const std::string& deviceName, const std::string& lineDN, bool forceRegistration) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("connect", {arg(deviceName), arg(lineDN), arg(forceRegistration)});
}

int FakeZepWrapper::setVideoDirection(int callId, const std::string& direction) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setVideoDirection", {arg(callId), arg(direction)});
}

int FakeZepWrapper::completeTransferCall(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("completeTransferCall", {arg(callId)});
}

int FakeZepWrapper::cancelTransfer(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("cancelTransfer", {arg(callId)});
}

int FakeZepWrapper::setCurrentSpeakerVolume(int volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setCurrentSpeakerVolume", {arg(volume)});
}

int FakeZepWrapper::setCurrentRingerVolume(int volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setCurrentRingerVolume", {arg(volume)});
}

int FakeZepWrapper::setCurrentMicrophoneVolume(int volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setCurrentMicrophoneVolume", {arg(volume)});
}

int FakeZepWrapper::getCurrentSpeakerVolume(int& volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getCurrentSpeakerVolume", {});
    if (code == 0) {
        volume = m_speakerVolume;
    }
    return code;
}

int FakeZepWrapper::getCurrentRingerVolume(int& volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getCurrentRingerVolume", {});
    if (code == 0) {
        volume = m_ringerVolume;
    }
    return code;
}

int FakeZepWrapper::getCurrentMicrophoneVolume(int& volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getCurrentMicrophoneVolume", {});
    if (code == 0) {
        volume = m_microphoneVolume;
    }
    return code;
}

int FakeZepWrapper::getMultimediaDeviceVolume(const std::string& device, int& volume) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getMultimediaDeviceVolume", {arg(device)});
    if (code == 0) {
        volume = m_deviceVolume;
    }
    return code;
}

int FakeZepWrapper::ssoNavigationCompleted(int64_t result, const std::string& url, const std::string& document) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("ssoNavigationCompleted", {arg(result), arg(url), arg(document)});
}

int FakeZepWrapper::restablishSSOSession() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("restablishSSOSession", {});
}

int FakeZepWrapper::resetData() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("resetData", {});
}

int FakeZepWrapper::getSSOSessionTimeRemaining(int64_t& time) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getSSOSessionTimeRemaining", {});
    if (code == 0) {
        time = m_ssoTimeRemaining;
    }
    return code;
}

int FakeZepWrapper::cancelSingleSignOn() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("cancelSingleSignOn", {});
}

int FakeZepWrapper::suppressSSOSessionExpiryPrompt() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("suppressSSOSessionExpiryPrompt", {});
}

int FakeZepWrapper::unsuppressSSOSessionExpiryPrompt(bool promptIfExpired) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("unsuppressSSOSessionExpiryPrompt", {arg(promptIfExpired)});
}

int FakeZepWrapper::addPreviewWindow() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("addPreviewWindow", {});
}

int FakeZepWrapper::removePreviewWindow() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("removePreviewWindow", {});
}

int FakeZepWrapper::addWindowToCall(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("addWindowToCall", {arg(callId)});
}

int FakeZepWrapper::removeWindowFromCall(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("removeWindowFromCall", {arg(callId)});
}

int FakeZepWrapper::configure(const std::string& shmLocalName, const std::string& shmRemoteName) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("configure", {arg(shmLocalName), arg(shmRemoteName)});
}

int FakeZepWrapper::showCallInExternalWindow(int callId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("showCallInExternalWindow", {arg(callId)});
}

int FakeZepWrapper::showPreviewInExternalWindow() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("showPreviewInExternalWindow", {});
}

int FakeZepWrapper::getExternalWindowState() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("getExternalWindowState", {});
}

int FakeZepWrapper::hideExternalWindow() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("hideExternalWindow", {});
}

int FakeZepWrapper::setExternalWindowAlwaysOnTop(bool onTop) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setExternalWindowAlwaysOnTop", {arg(onTop)});
}

int FakeZepWrapper::setExternalWindowShowControls(bool show) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setExternalWindowShowControls", {arg(show)});
}

int FakeZepWrapper::setExternalWindowShowSelfViewPip(bool show) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setExternalWindowShowSelfViewPip", {arg(show)});
}

int FakeZepWrapper::setExternalWindowTitle(const std::string& title) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("setExternalWindowTitle", {arg(title)});
}

int FakeZepWrapper::dockExternalWindow(int offsetX, int offsetY, int width, int height, const std::string& title,
                                       int cropOffsetX, int cropOffsetY, int cropWidth, int cropHeight) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("dockExternalWindow", {arg(offsetX), arg(offsetY), arg(width), arg(height), arg(title),
                                          arg(cropOffsetX), arg(cropOffsetY), arg(cropWidth), arg(cropHeight)});
}

int FakeZepWrapper::dockUpdate(int offsetX, int offsetY, int width, int height, int pageWidth, int pageHeight,
                               int cropOffsetX, int cropOffsetY, int cropWidth, int cropHeight) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("dockUpdate", {arg(offsetX), arg(offsetY), arg(width), arg(height), arg(pageWidth), arg(pageHeight),
                                  arg(cropOffsetX), arg(cropOffsetY), arg(cropWidth), arg(cropHeight)});
}

int FakeZepWrapper::undockExternalWindow() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("undockExternalWindow", {});
}

int FakeZepWrapper::getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getMultimediaDevices", {});
    if (code == 0) {
        devices = m_multimediaDevices;
    }
    return code;
}

int FakeZepWrapper::getAvailableDevices(PhoneList& devices) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getAvailableDevices", {});
    if (code == 0) {
        devices = m_spAvailableDevices;
    }
    return code;
}

int FakeZepWrapper::getCalls(std::vector<int>& callIds) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getCalls", {});
    if (code == 0) {
        callIds = m_callIds;
    }
    return code;
}

int FakeZepWrapper::getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("getCallInfo", {arg(callId)});
    if (code == 0) {
        auto it = m_callInfos.find(callId);
        call = it == m_callInfos.end() ? std::shared_ptr<ZepCallInfo>() : it->second;
    }
    return code;
}

int FakeZepWrapper::encryptPboxPassword(const std::string& password, std::string& encrypted) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int code = _record("encryptPboxPassword", {arg(password)});
    if (code == 0) {
        encrypted = m_encrypted;
    }
    return code;
}

int FakeZepWrapper::handleInvalidCertificate(const std::string& certFingerprint, bool accept) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return _record("handleInvalidCertificate", {arg(certFingerprint), arg(accept)});
}

}  // namespace test
}  // namespace tessel
