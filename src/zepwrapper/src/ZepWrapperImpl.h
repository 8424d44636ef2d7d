#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <zepwrapper/ZepWrapperAPI.h>

#include "AccountManager.h"
#include "CallManager.h"
#include "DeviceManager.h"
#include "DispatchQueue.h"
#include "ExternalWindow.h"
#include "FrameworkContext.h"
#include "HttpClient.h"
#include "LinphoneEngine.h"
#include "ObserverRegistry.h"
#include "Provisioning.h"
#include "Ringer.h"
#include "SingleSignOn.h"
#include "SoundServer.h"
#include "StateLock.h"

namespace tessel {
namespace zep {

// The framework's interface object. It owns the engine's life cycle and the
// observer registry, and hands sign-in and connection to the account
// manager and calls to the call manager.
//
// Threads: the host calls every operation and pumps from one thread, which is
// also where every observer callback runs. Only registration may come from
// another thread.
class ZepWrapperImpl : public ZepWrapperAPI {
public:
    ZepWrapperImpl();
    ~ZepWrapperImpl() override;

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
    // Sound devices came or went (posted from the sound server's thread).
    void onSoundDevicesChanged();
    void notifyStarted();
    void notifyStopped();
    int notSupported(const char* operation) const;

    // Taken first, released last: the engine's files are ours only meanwhile.
    StateLock m_stateLock;
    ObserverRegistry m_observers;
    DispatchQueue m_queue;
    LinphoneEngine m_engine;
    FrameworkContext m_context{m_engine, m_observers, m_queue};
    HttpClient m_http;
    Provisioning m_provisioning{m_http};
    SingleSignOn m_sso{m_context, m_http, m_provisioning};
    AccountManager m_account{m_context, m_provisioning, m_sso};
    CallManager m_calls{m_context, m_account};
    SoundServer m_sound;
    DeviceManager m_devices{m_context, m_sound};
    Ringer m_ringer{m_sound, m_devices};
    ExternalWindow m_window;
    // Read by isStarted from any thread; changed only on the pumping thread.
    std::atomic<bool> m_started{false};
    // Set while stop() runs, so a callback cannot restart us half-way.
    bool m_stopping = false;
};

}  // namespace zep
}  // namespace tessel
