#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <zepwrapper/ResultCodes.h>
#include <zepwrapper/ZepWrapperAPI.h>

class ILog;

namespace tessel {

// The framework's interface object as the host sees it from start-up on,
// while the framework's library (and the SIP engine's two hundred libraries
// behind it) is loaded only when a page first needs the framework: a page
// that only asks for the version never waits for it, and the host stays
// small until then. Observers and the wake-up given before the load are
// handed over at the load. Should the library not load, every operation
// answers eOperationFailed and the observers hear why once.
class ZepWrapperProxy : public ZepWrapperAPI {
public:
    // library: a path, or a bare file name looked up beside the running
    // executable (installed), then in ../lib from it (build tree), then where
    // dlopen looks by itself.
    explicit ZepWrapperProxy(std::string library = "libZepWrapper.so");
    ~ZepWrapperProxy() override;
    ZepWrapperProxy(const ZepWrapperProxy&) = delete;
    ZepWrapperProxy& operator=(const ZepWrapperProxy&) = delete;

    void setLog(ILog* log);
    // The library is loaded (and the real interface object reached).
    bool isLoaded() const { return m_pReal.load() != nullptr; }

    // Operations with a result code are forwarded as they stand; the others
    // are in the source file.
    void registerObserver(std::shared_ptr<IObserverObject> observer) override;
    void unregisterObserver(std::shared_ptr<IObserverObject> observer) override;
    void start() override;
    void stop() override;
    int logout() override { return forward("logout", &ZepWrapperAPI::logout); }
    bool isStarted() const override;
    void pumpNextDispatcherTask() override;
    long dispatcherIdleMs() override;
    void setDispatcherWakeUp(std::function<void()> wake) override;
    void setLoryAddressList(const std::vector<std::string>& addresses) override;
    void setTftpAddressList(const std::vector<std::string>& addresses) override;
    void setCtiAddressList(const std::vector<std::string>& addresses) override;
    int startSignIn(bool manualSettings) override {
        return forward("startSignIn", &ZepWrapperAPI::startSignIn, manualSettings);
    }
    int setUserProfileEmailAddress(const std::string& email) override {
        return forward("setUserProfileEmailAddress", &ZepWrapperAPI::setUserProfileEmailAddress, email);
    }
    int setUserProfileCredentials(unsigned authenticator, const std::string& username,
                                  const std::string& password) override {
        return forward("setUserProfileCredentials", &ZepWrapperAPI::setUserProfileCredentials, authenticator, username,
                       password);
    }
    int joinCalls(int callId, int joinCallId) override {
        return forward("joinCalls", &ZepWrapperAPI::joinCalls, callId, joinCallId);
    }
    int transferCall(int callId, const std::string& number) override {
        return forward("transferCall", &ZepWrapperAPI::transferCall, callId, number);
    }
    int originate(const std::string& recipient, int& callId, const std::string& videoDirection,
                  uint64_t windowhandle) override {
        return forward("originate", &ZepWrapperAPI::originate, recipient, callId, videoDirection, windowhandle);
    }
    int answer(int callId, const std::string& videoDirection, uint64_t windowhandle) override {
        return forward("answer", &ZepWrapperAPI::answer, callId, videoDirection, windowhandle);
    }
    int endCall(int callId) override { return forward("endCall", &ZepWrapperAPI::endCall, callId); }
    int mute(int callId, bool audio, bool video) override {
        return forward("mute", &ZepWrapperAPI::mute, callId, audio, video);
    }
    int unmute(int callId, bool audio, bool video) override {
        return forward("unmute", &ZepWrapperAPI::unmute, callId, audio, video);
    }
    int hold(int callId) override { return forward("hold", &ZepWrapperAPI::hold, callId); }
    int resume(int callId) override { return forward("resume", &ZepWrapperAPI::resume, callId); }
    int iDivert(int callId) override { return forward("iDivert", &ZepWrapperAPI::iDivert, callId); }
    int sendDTMF(int callId, const std::string& digit) override {
        return forward("sendDTMF", &ZepWrapperAPI::sendDTMF, callId, digit);
    }
    int setCaptureDevice(const std::string& id) override {
        return forward("setCaptureDevice", &ZepWrapperAPI::setCaptureDevice, id);
    }
    int setPlayoutDevice(const std::string& id) override {
        return forward("setPlayoutDevice", &ZepWrapperAPI::setPlayoutDevice, id);
    }
    int setRecordingDevice(const std::string& id) override {
        return forward("setRecordingDevice", &ZepWrapperAPI::setRecordingDevice, id);
    }
    int setRingerDevice(const std::string& id) override {
        return forward("setRingerDevice", &ZepWrapperAPI::setRingerDevice, id);
    }
    std::shared_ptr<ZepDeviceAndPhoneInfo> getDeviceAndPhoneInfo() override;
    int getConnectionStatus(std::string& status) override {
        return forward("getConnectionStatus", &ZepWrapperAPI::getConnectionStatus, status);
    }
    int getMode(std::string& mode) override { return forward("getMode", &ZepWrapperAPI::getMode, mode); }
    int connect(const std::string& deviceName, const std::string& lineDN, bool forceRegistration) override {
        return forward("connect", &ZepWrapperAPI::connect, deviceName, lineDN, forceRegistration);
    }
    int setVideoDirection(int callId, const std::string& direction) override {
        return forward("setVideoDirection", &ZepWrapperAPI::setVideoDirection, callId, direction);
    }
    int completeTransferCall(int callId) override {
        return forward("completeTransferCall", &ZepWrapperAPI::completeTransferCall, callId);
    }
    int cancelTransfer(int callId) override {
        return forward("cancelTransfer", &ZepWrapperAPI::cancelTransfer, callId);
    }
    int setCurrentSpeakerVolume(int volume) override {
        return forward("setCurrentSpeakerVolume", &ZepWrapperAPI::setCurrentSpeakerVolume, volume);
    }
    int setCurrentRingerVolume(int volume) override {
        return forward("setCurrentRingerVolume", &ZepWrapperAPI::setCurrentRingerVolume, volume);
    }
    int setCurrentMicrophoneVolume(int volume) override {
        return forward("setCurrentMicrophoneVolume", &ZepWrapperAPI::setCurrentMicrophoneVolume, volume);
    }
    int getCurrentSpeakerVolume(int& volume) override {
        return forward("getCurrentSpeakerVolume", &ZepWrapperAPI::getCurrentSpeakerVolume, volume);
    }
    int getCurrentRingerVolume(int& volume) override {
        return forward("getCurrentRingerVolume", &ZepWrapperAPI::getCurrentRingerVolume, volume);
    }
    int getCurrentMicrophoneVolume(int& volume) override {
        return forward("getCurrentMicrophoneVolume", &ZepWrapperAPI::getCurrentMicrophoneVolume, volume);
    }
    int getMultimediaDeviceVolume(const std::string& device, int& volume) override {
        return forward("getMultimediaDeviceVolume", &ZepWrapperAPI::getMultimediaDeviceVolume, device, volume);
    }
    int ssoNavigationCompleted(int64_t result, const std::string& url, const std::string& document) override {
        return forward("ssoNavigationCompleted", &ZepWrapperAPI::ssoNavigationCompleted, result, url, document);
    }
    int restablishSSOSession() override {
        return forward("restablishSSOSession", &ZepWrapperAPI::restablishSSOSession);
    }
    int resetData() override { return forward("resetData", &ZepWrapperAPI::resetData); }
    int getSSOSessionTimeRemaining(int64_t& time) override {
        return forward("getSSOSessionTimeRemaining", &ZepWrapperAPI::getSSOSessionTimeRemaining, time);
    }
    int cancelSingleSignOn() override { return forward("cancelSingleSignOn", &ZepWrapperAPI::cancelSingleSignOn); }
    int suppressSSOSessionExpiryPrompt() override {
        return forward("suppressSSOSessionExpiryPrompt", &ZepWrapperAPI::suppressSSOSessionExpiryPrompt);
    }
    int unsuppressSSOSessionExpiryPrompt(bool promptIfExpired) override {
        return forward("unsuppressSSOSessionExpiryPrompt", &ZepWrapperAPI::unsuppressSSOSessionExpiryPrompt,
                       promptIfExpired);
    }
    int addPreviewWindow() override { return forward("addPreviewWindow", &ZepWrapperAPI::addPreviewWindow); }
    int removePreviewWindow() override { return forward("removePreviewWindow", &ZepWrapperAPI::removePreviewWindow); }
    int addWindowToCall(int callId) override {
        return forward("addWindowToCall", &ZepWrapperAPI::addWindowToCall, callId);
    }
    int removeWindowFromCall(int callId) override {
        return forward("removeWindowFromCall", &ZepWrapperAPI::removeWindowFromCall, callId);
    }
    int configure(const std::string& shmLocalName, const std::string& shmRemoteName) override {
        return forward("configure", &ZepWrapperAPI::configure, shmLocalName, shmRemoteName);
    }
    int showCallInExternalWindow(int callId) override {
        return forward("showCallInExternalWindow", &ZepWrapperAPI::showCallInExternalWindow, callId);
    }
    int showPreviewInExternalWindow() override {
        return forward("showPreviewInExternalWindow", &ZepWrapperAPI::showPreviewInExternalWindow);
    }
    int getExternalWindowState() override {
        return forward("getExternalWindowState", &ZepWrapperAPI::getExternalWindowState);
    }
    int hideExternalWindow() override { return forward("hideExternalWindow", &ZepWrapperAPI::hideExternalWindow); }
    int setExternalWindowAlwaysOnTop(bool onTop) override {
        return forward("setExternalWindowAlwaysOnTop", &ZepWrapperAPI::setExternalWindowAlwaysOnTop, onTop);
    }
    int setExternalWindowShowControls(bool show) override {
        return forward("setExternalWindowShowControls", &ZepWrapperAPI::setExternalWindowShowControls, show);
    }
    int setExternalWindowShowSelfViewPip(bool show) override {
        return forward("setExternalWindowShowSelfViewPip", &ZepWrapperAPI::setExternalWindowShowSelfViewPip, show);
    }
    int setExternalWindowTitle(const std::string& title) override {
        return forward("setExternalWindowTitle", &ZepWrapperAPI::setExternalWindowTitle, title);
    }
    int dockExternalWindow(int offsetX, int offsetY, int width, int height, const std::string& title, int cropOffsetX,
                           int cropOffsetY, int cropWidth, int cropHeight) override {
        return forward("dockExternalWindow", &ZepWrapperAPI::dockExternalWindow, offsetX, offsetY, width, height, title,
                       cropOffsetX, cropOffsetY, cropWidth, cropHeight);
    }
    int dockUpdate(int offsetX, int offsetY, int width, int height, int pageWidth, int pageHeight, int cropOffsetX,
                   int cropOffsetY, int cropWidth, int cropHeight) override {
        return forward("dockUpdate", &ZepWrapperAPI::dockUpdate, offsetX, offsetY, width, height, pageWidth, pageHeight,
                       cropOffsetX, cropOffsetY, cropWidth, cropHeight);
    }
    int undockExternalWindow() override {
        return forward("undockExternalWindow", &ZepWrapperAPI::undockExternalWindow);
    }
    int getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) override {
        return forward("getMultimediaDevices", &ZepWrapperAPI::getMultimediaDevices, devices);
    }
    int getAvailableDevices(PhoneList& devices) override {
        return forward("getAvailableDevices", &ZepWrapperAPI::getAvailableDevices, devices);
    }
    int getCalls(std::vector<int>& callIds) override { return forward("getCalls", &ZepWrapperAPI::getCalls, callIds); }
    int getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call) override {
        return forward("getCallInfo", &ZepWrapperAPI::getCallInfo, callId, call);
    }
    int encryptPboxPassword(const std::string& password, std::string& encrypted) override {
        return forward("encryptPboxPassword", &ZepWrapperAPI::encryptPboxPassword, password, encrypted);
    }
    int handleInvalidCertificate(const std::string& certFingerprint, bool accept) override {
        return forward("handleInvalidCertificate", &ZepWrapperAPI::handleInvalidCertificate, certFingerprint, accept);
    }

private:
    // The real interface object, loading the library first if need be; null
    // when it cannot be loaded. operation names the caller for the log.
    ZepWrapperAPI* loaded(const char* operation);

    // The framework's answer to an operation, loading it first if need be;
    // eOperationFailed when it cannot be loaded.
    template <typename... Params, typename... Args>
    int forward(const char* operation, int (ZepWrapperAPI::*method)(Params...), Args&&... args) {
        ZepWrapperAPI* pZepW = loaded(operation);
        return pZepW != nullptr ? (pZepW->*method)(std::forward<Args>(args)...) : ApiReturnCodeEnum::eOperationFailed;
    }

    const std::string m_library;
    std::atomic<ZepWrapperAPI*> m_pReal{nullptr};
    std::mutex m_mutex;  // guards what follows, and the load itself
    ILog* m_log = nullptr;
    bool m_failed = false;
    std::string m_failure;
    std::vector<std::shared_ptr<IObserverObject>> m_observers;
    std::function<void()> m_wake;
};

}  // namespace tessel
