#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

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

    void registerObserver(std::shared_ptr<IObserverObject> observer) override;
    void unregisterObserver(std::shared_ptr<IObserverObject> observer) override;
    void start() override;
    void stop() override;
    int logout() override;
    bool isStarted() const override;
    void pumpNextDispatcherTask() override;
    long dispatcherIdleMs() override;
    void setDispatcherWakeUp(std::function<void()> wake) override;
    void setLoryAddressList(const std::vector<std::string>& addresses) override;
    void setTftpAddressList(const std::vector<std::string>& addresses) override;
    void setCtiAddressList(const std::vector<std::string>& addresses) override;
    int startSignIn(bool manualSettings) override;
    int setUserProfileEmailAddress(const std::string& email) override;
    int setUserProfileCredentials(unsigned authenticator, const std::string& username,
                                  const std::string& password) override;
    int joinCalls(int callId, int joinCallId) override;
    int transferCall(int callId, const std::string& number) override;
    int originate(const std::string& recipient, int& callId, const std::string& videoDirection,
                  uint64_t windowhandle) override;
    int answer(int callId, const std::string& videoDirection, uint64_t windowhandle) override;
    int endCall(int callId) override;
    int mute(int callId, bool audio, bool video) override;
    int unmute(int callId, bool audio, bool video) override;
    int hold(int callId) override;
    int resume(int callId) override;
    int iDivert(int callId) override;
    int sendDTMF(int callId, const std::string& digit) override;
    int setCaptureDevice(const std::string& id) override;
    int setPlayoutDevice(const std::string& id) override;
    int setRecordingDevice(const std::string& id) override;
    int setRingerDevice(const std::string& id) override;
    std::shared_ptr<ZepDeviceAndPhoneInfo> getDeviceAndPhoneInfo() override;
    int getConnectionStatus(std::string& status) override;
    int getMode(std::string& mode) override;
    int connect(const std::string& deviceName, const std::string& lineDN, bool forceRegistration) override;
    int setVideoDirection(int callId, const std::string& direction) override;
    int completeTransferCall(int callId) override;
    int cancelTransfer(int callId) override;
    int setCurrentSpeakerVolume(int volume) override;
    int setCurrentRingerVolume(int volume) override;
    int setCurrentMicrophoneVolume(int volume) override;
    int getCurrentSpeakerVolume(int& volume) override;
    int getCurrentRingerVolume(int& volume) override;
    int getCurrentMicrophoneVolume(int& volume) override;
    int getMultimediaDeviceVolume(const std::string& device, int& volume) override;
    int ssoNavigationCompleted(int64_t result, const std::string& url, const std::string& document) override;
    int restablishSSOSession() override;
    int resetData() override;
    int getSSOSessionTimeRemaining(int64_t& time) override;
    int cancelSingleSignOn() override;
    int suppressSSOSessionExpiryPrompt() override;
    int unsuppressSSOSessionExpiryPrompt(bool promptIfExpired) override;
    int addPreviewWindow() override;
    int removePreviewWindow() override;
    int addWindowToCall(int callId) override;
    int removeWindowFromCall(int callId) override;
    int configure(const std::string& shmLocalName, const std::string& shmRemoteName) override;
    int showCallInExternalWindow(int callId) override;
    int showPreviewInExternalWindow() override;
    int getExternalWindowState() override;
    int hideExternalWindow() override;
    int setExternalWindowAlwaysOnTop(bool onTop) override;
    int setExternalWindowShowControls(bool show) override;
    int setExternalWindowShowSelfViewPip(bool show) override;
    int setExternalWindowTitle(const std::string& title) override;
    int dockExternalWindow(int offsetX, int offsetY, int width, int height, const std::string& title, int cropOffsetX,
                           int cropOffsetY, int cropWidth, int cropHeight) override;
    int dockUpdate(int offsetX, int offsetY, int width, int height, int pageWidth, int pageHeight, int cropOffsetX,
                   int cropOffsetY, int cropWidth, int cropHeight) override;
    int undockExternalWindow() override;
    int getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) override;
    int getAvailableDevices(PhoneList& devices) override;
    int getCalls(std::vector<int>& callIds) override;
    int getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call) override;
    int encryptPboxPassword(const std::string& password, std::string& encrypted) override;
    int handleInvalidCertificate(const std::string& certFingerprint, bool accept) override;

private:
    // The real interface object, loading the library first if need be; null
    // when it cannot be loaded. operation names the caller for the log.
    ZepWrapperAPI* loaded(const char* operation);

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
