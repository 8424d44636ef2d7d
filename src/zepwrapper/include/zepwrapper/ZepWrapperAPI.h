#pragma once

// The telephony framework's one interface object. Operations that return int
// return a result code: 0 success, otherwise a value of the host's result-code
// table (1 eInvalidCallId ... 20 eOperationFailed; 16 eOperationNotSupported).
// Every operation is called on the thread that pumps the framework; observer
// callbacks run on that thread too, from pumpNextDispatcherTask().

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ExternalWindowState.h"
#include "IObserverObject.h"
#include "ZepCallInfo.h"
#include "ZepDeviceAndPhoneInfo.h"
#include "ZepMultimediaDevices.h"
#include "ZepPhoneInfo.h"

class ZepWrapperAPI {
public:
    typedef std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>> PhoneList;

    virtual ~ZepWrapperAPI() = default;

    // Accepts any of the observer kinds; the framework keeps it weakly.
    virtual void registerObserver(std::shared_ptr<IObserverObject> observer) = 0;
    virtual void unregisterObserver(std::shared_ptr<IObserverObject> observer) = 0;
    virtual void start() = 0;
    virtual void stop() = 0;
    virtual int logout() = 0;
    virtual bool isStarted() const = 0;
    // Runs the engine once and then the framework's own queued work.
    virtual void pumpNextDispatcherTask() = 0;
    // How long (ms) the pumping thread may sleep before the next pump is due:
    // short while calls are set up, longer while idle; -1 when nothing is
    // ever due (not started).
    virtual long dispatcherIdleMs() = 0;
    // Called from whatever thread gives the framework work while the pumping
    // thread sleeps (sound devices, the video window); may be called from
    // the pumping thread too. It must only wake that thread.
    virtual void setDispatcherWakeUp(std::function<void()> wake) = 0;
    virtual void setLoryAddressList(const std::vector<std::string>& addresses) = 0;
    virtual void setTftpAddressList(const std::vector<std::string>& addresses) = 0;
    virtual void setCtiAddressList(const std::vector<std::string>& addresses) = 0;
    virtual int startSignIn(bool manualSettings) = 0;
    virtual int setUserProfileEmailAddress(const std::string& email) = 0;
    virtual int setUserProfileCredentials(unsigned authenticator, const std::string& username,
                                          const std::string& password) = 0;
    virtual int joinCalls(int callId, int joinCallId) = 0;
    virtual int transferCall(int callId, const std::string& number) = 0;
    virtual int originate(const std::string& recipient, int& callId, const std::string& videoDirection,
                          uint64_t windowhandle) = 0;
    virtual int answer(int callId, const std::string& videoDirection, uint64_t windowhandle) = 0;
    virtual int endCall(int callId) = 0;
    virtual int mute(int callId, bool audio, bool video) = 0;
    virtual int unmute(int callId, bool audio, bool video) = 0;
    virtual int hold(int callId) = 0;
    virtual int resume(int callId) = 0;
    virtual int iDivert(int callId) = 0;
    virtual int sendDTMF(int callId, const std::string& digit) = 0;
    virtual int setCaptureDevice(const std::string& id) = 0;
    virtual int setPlayoutDevice(const std::string& id) = 0;
    virtual int setRecordingDevice(const std::string& id) = 0;
    virtual int setRingerDevice(const std::string& id) = 0;
    // Empty when no device is selected.
    virtual std::shared_ptr<ZepDeviceAndPhoneInfo> getDeviceAndPhoneInfo() = 0;
    virtual int getConnectionStatus(std::string& status) = 0;
    virtual int getMode(std::string& mode) = 0;
    virtual int connect(const std::string& deviceName, const std::string& lineDN, bool forceRegistration) = 0;
    virtual int setVideoDirection(int callId, const std::string& direction) = 0;
    virtual int completeTransferCall(int callId) = 0;
    virtual int cancelTransfer(int callId) = 0;
    virtual int setCurrentSpeakerVolume(int volume) = 0;
    virtual int setCurrentRingerVolume(int volume) = 0;
    virtual int setCurrentMicrophoneVolume(int volume) = 0;
    virtual int getCurrentSpeakerVolume(int& volume) = 0;
    virtual int getCurrentRingerVolume(int& volume) = 0;
    virtual int getCurrentMicrophoneVolume(int& volume) = 0;
    virtual int getMultimediaDeviceVolume(const std::string& device, int& volume) = 0;
    virtual int ssoNavigationCompleted(int64_t result, const std::string& url, const std::string& document) = 0;
    virtual int restablishSSOSession() = 0;
    virtual int resetData() = 0;
    virtual int getSSOSessionTimeRemaining(int64_t& time) = 0;
    virtual int cancelSingleSignOn() = 0;
    virtual int suppressSSOSessionExpiryPrompt() = 0;
    virtual int unsuppressSSOSessionExpiryPrompt(bool promptIfExpired) = 0;
    virtual int addPreviewWindow() = 0;
    virtual int removePreviewWindow() = 0;
    virtual int addWindowToCall(int callId) = 0;
    virtual int removeWindowFromCall(int callId) = 0;
    virtual int configure(const std::string& shmLocalName, const std::string& shmRemoteName) = 0;
    virtual int showCallInExternalWindow(int callId) = 0;
    virtual int showPreviewInExternalWindow() = 0;
    virtual int getExternalWindowState() = 0;
    virtual int hideExternalWindow() = 0;
    virtual int setExternalWindowAlwaysOnTop(bool onTop) = 0;
    virtual int setExternalWindowShowControls(bool show) = 0;
    virtual int setExternalWindowShowSelfViewPip(bool show) = 0;
    virtual int setExternalWindowTitle(const std::string& title) = 0;
    virtual int dockExternalWindow(int offsetX, int offsetY, int width, int height, const std::string& title,
                                   int cropOffsetX, int cropOffsetY, int cropWidth, int cropHeight) = 0;
    virtual int dockUpdate(int offsetX, int offsetY, int width, int height, int pageWidth, int pageHeight,
                           int cropOffsetX, int cropOffsetY, int cropWidth, int cropHeight) = 0;
    virtual int undockExternalWindow() = 0;
    virtual int getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) = 0;
    virtual int getAvailableDevices(PhoneList& devices) = 0;
    virtual int getCalls(std::vector<int>& callIds) = 0;
    // call is set empty (and 0 returned) for an id the framework no longer knows.
    virtual int getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call) = 0;
    virtual int encryptPboxPassword(const std::string& password, std::string& encrypted) = 0;
    virtual int handleInvalidCertificate(const std::string& certFingerprint, bool accept) = 0;
};
