#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <zepwrapper/ZepObservers.h>
#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {
namespace test {

// A scriptable stand-in for the telephony framework, for unit tests of one
// component. Every operation is recorded as text, "name(arg, arg)": ints in
// decimal, bools as true/false, strings as they are, string vectors as
// [a, b]; e.g. "hold(3)", "mute(7, true, false)", "setCtiAddressList([a, b])".
// Pumps are only counted (the task handler pumps every millisecond).
// Operations return the code set with setResult (default 0); out values are
// written only when that code is 0. Registered observers are kept weakly, as
// the real framework does, and fire() calls them. Thread-safe.
class FakeZepWrapper : public ZepWrapperAPI {
public:
    // --- scripting ---
    void setResult(const std::string& operation, int code);
    void setDeviceAndPhoneInfoOut(std::shared_ptr<ZepDeviceAndPhoneInfo> device);
    void setConnectionStatusOut(const std::string& status);
    void setModeOut(const std::string& mode);
    void setOriginateCallIdOut(int callId);
    void setSpeakerVolumeOut(int volume);
    void setRingerVolumeOut(int volume);
    void setMicrophoneVolumeOut(int volume);
    void setMultimediaDeviceVolumeOut(int volume);
    void setSSOSessionTimeRemainingOut(int64_t time);
    void setMultimediaDevicesOut(const std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices);
    void setAvailableDevicesOut(PhoneList devices);
    void setCallsOut(const std::vector<int>& callIds);
    // getCallInfo of an id never set gives an empty record.
    void setCallInfoOut(int callId, std::shared_ptr<ZepCallInfo> call);
    void setEncryptedOut(const std::string& encrypted);
    // Runs on the pumping thread after each counted pump, outside the fake's lock.
    void setOnPump(std::function<void()> hook);

    // --- inspection ---
    std::vector<std::string> calls() const;
    size_t callCount(const std::string& operation) const;
    bool wasCalled(const std::string& operation) const { return callCount(operation) > 0; }
    // The arguments of the last call of the operation; empty when never called.
    std::vector<std::string> lastArgs(const std::string& operation) const;
    void clearCalls();
    int pumpCount() const;

    // --- observers ---
    // The registered observers still alive, in registration order.
    std::vector<std::shared_ptr<IObserverObject>> observers() const;
    template <class Kind>
    std::vector<std::shared_ptr<Kind>> observersOf() const {
        std::vector<std::shared_ptr<Kind>> out;
        for (const auto& observer : observers()) {
            if (auto typed = std::dynamic_pointer_cast<Kind>(observer)) {
                out.push_back(typed);
            }
        }
        return out;
    }
    // Calls callback on every registered observer of the kind, outside the
    // fake's lock; returns how many were called.
    template <class Kind>
    size_t fire(const std::function<void(Kind&)>& callback) const {
        std::vector<std::shared_ptr<Kind>> targets = observersOf<Kind>();
        for (const auto& target : targets) {
            callback(*target);
        }
        return targets.size();
    }
    // The kinds an observer implements, as recorded: "callstate",
    // "connection", "startup", "login", "certificate", "mediadevice",
    // "externalwindow", joined by '+'.
    static std::string kindsOf(const IObserverObject& observer);

    // --- ZepWrapperAPI ---
    void registerObserver(std::shared_ptr<IObserverObject> observer) override;
    void unregisterObserver(std::shared_ptr<IObserverObject> observer) override;
    void start() override;
    void stop() override;
    int logout() override;
    bool isStarted() const override;
    void pumpNextDispatcherTask() override;
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
    struct Call {
        std::string operation;
        std::vector<std::string> args;
    };

    // Records the call and returns the scripted code; the caller holds m_mutex.
    int _record(const std::string& operation, std::vector<std::string> args);

    mutable std::mutex m_mutex;
    std::vector<Call> m_calls;
    std::map<std::string, int> m_results;
    std::vector<std::weak_ptr<IObserverObject>> m_observers;
    bool m_started = false;
    int m_pumpCount = 0;
    std::function<void()> m_onPump;

    std::shared_ptr<ZepDeviceAndPhoneInfo> m_spDevice;
    std::string m_connectionStatus;
    std::string m_mode;
    int m_originateCallId = 0;
    int m_speakerVolume = 0;
    int m_ringerVolume = 0;
    int m_microphoneVolume = 0;
    int m_deviceVolume = 0;
    int64_t m_ssoTimeRemaining = 0;
    std::vector<std::shared_ptr<ZepMultimediaDevices>> m_multimediaDevices;
    PhoneList m_spAvailableDevices;
    std::vector<int> m_callIds;
    std::map<int, std::shared_ptr<ZepCallInfo>> m_callInfos;
    std::string m_encrypted;
};

}  // namespace test
}  // namespace tessel
