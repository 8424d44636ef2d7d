#pragma once

#include <algorithm>
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
// component. Every operation is recorded as text, "name(arg, arg)": numbers in
// decimal, bools as true/false, string vectors as [a, b]; e.g. "hold(3)",
// "mute(7, true, false)". Pumps are only counted (the task handler pumps every
// millisecond). Operations return the code set with setResult (default 0); out
// values are written only when that code is 0. Observers are kept weakly, as
// the real framework does, and fire() calls them. Thread-safe.
class FakeZepWrapper : public ZepWrapperAPI {
public:
    // --- scripting ---
    void setResult(const std::string& operation, int code) { set(m_results[operation], code); }
    void setDeviceAndPhoneInfoOut(std::shared_ptr<ZepDeviceAndPhoneInfo> device) { set(m_spDevice, device); }
    void setConnectionStatusOut(const std::string& status) { set(m_connectionStatus, status); }
    void setModeOut(const std::string& mode) { set(m_mode, mode); }
    void setOriginateCallIdOut(int callId) { set(m_originateCallId, callId); }
    void setCallsOut(const std::vector<int>& callIds) { set(m_callIds, callIds); }
    // getCallInfo of an id never set gives an empty record.
    void setCallInfoOut(int callId, std::shared_ptr<ZepCallInfo> call) { set(m_callInfos[callId], call); }
    void setEncryptedOut(const std::string& encrypted) { set(m_encrypted, encrypted); }
    void setMultimediaDevicesOut(const std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) {
        set(m_devices, devices);
    }
    void setVolumeOut(int volume) { set(m_volume, volume); }
    void setSessionTimeOut(int64_t seconds) { set(m_sessionTime, seconds); }
    // Runs on the pumping thread after each counted pump, outside the fake's lock.
    void setOnPump(std::function<void()> hook) { set(m_onPump, hook); }

    // --- inspection ---
    std::vector<std::string> calls() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<std::string> out;
        for (const auto& call : m_calls) out.push_back(call.first + "(" + join(call.second) + ")");
        return out;
    }
    size_t callCount(const std::string& operation) const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return std::count_if(m_calls.begin(), m_calls.end(), [&](const Call& c) { return c.first == operation; });
    }
    bool wasCalled(const std::string& operation) const { return callCount(operation) > 0; }
    // The arguments of the last call of the operation; empty when never called.
    std::vector<std::string> lastArgs(const std::string& operation) const {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto it = m_calls.rbegin(); it != m_calls.rend(); ++it)
            if (it->first == operation) return it->second;
        return {};
    }
    void clearCalls() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.clear();
        m_pumpCount = 0;
    }
    int pumpCount() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_pumpCount;
    }

    // --- observers ---
    // The registered observers still alive, in registration order.
    std::vector<std::shared_ptr<IObserverObject>> observers() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<std::shared_ptr<IObserverObject>> out;
        for (const auto& wp : m_observers)
            if (auto sp = wp.lock()) out.push_back(sp);
        return out;
    }
    template <class Kind>
    std::vector<std::shared_ptr<Kind>> observersOf() const {
        std::vector<std::shared_ptr<Kind>> out;
        for (const auto& observer : observers()) {
            if (auto typed = std::dynamic_pointer_cast<Kind>(observer)) out.push_back(typed);
        }
        return out;
    }
    // Calls callback on every registered observer of the kind, outside the
    // fake's lock; returns how many were called.
    template <class Kind>
    size_t fire(const std::function<void(Kind&)>& callback) const {
        auto targets = observersOf<Kind>();
        for (const auto& target : targets) callback(*target);
        return targets.size();
    }

    // --- ZepWrapperAPI ---
    void registerObserver(std::shared_ptr<IObserverObject> observer) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back({"registerObserver", {observer ? kindsOf(*observer) : "null"}});
        if (observer && std::none_of(m_observers.begin(), m_observers.end(),
                                     [&](const auto& wp) { return wp.lock() == observer; })) {
            m_observers.push_back(observer);
        }
    }
    void unregisterObserver(std::shared_ptr<IObserverObject> observer) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back({"unregisterObserver", {observer ? kindsOf(*observer) : "null"}});
        m_observers.erase(std::remove_if(m_observers.begin(), m_observers.end(),
                                         [&](const auto& wp) {
                                             auto sp = wp.lock();
                                             return !sp || sp == observer;
                                         }),
                          m_observers.end());
    }
    void start() override {
        rec("start");
        set(m_started, true);
    }
    void stop() override {
        rec("stop");
        set(m_started, false);
    }
    bool isStarted() const override {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_started;
    }
    void pumpNextDispatcherTask() override {
        std::function<void()> hook;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_pumpCount;
            hook = m_onPump;
        }
        if (hook) hook();
    }
    // Always due soon: the fake has no timers of its own.
    long dispatcherIdleMs() override { return isStarted() ? 1 : -1; }
    void setDispatcherWakeUp(std::function<void()>) override {}
    int logout() override { return rec("logout"); }
    void setLoryAddressList(const std::vector<std::string>& a) override { rec("setLoryAddressList", a); }
    void setTftpAddressList(const std::vector<std::string>& a) override { rec("setTftpAddressList", a); }
    void setCtiAddressList(const std::vector<std::string>& a) override { rec("setCtiAddressList", a); }
    int startSignIn(bool manual) override { return rec("startSignIn", manual); }
    int setUserProfileEmailAddress(const std::string& email) override {
        return rec("setUserProfileEmailAddress", email);
    }
    int setUserProfileCredentials(unsigned authenticator, const std::string& username,
                                  const std::string& password) override {
        return rec("setUserProfileCredentials", authenticator, username, password);
    }
    int joinCalls(int callId, int joinCallId) override { return rec("joinCalls", callId, joinCallId); }
    int transferCall(int callId, const std::string& number) override { return rec("transferCall", callId, number); }
    int originate(const std::string& recipient, int& callId, const std::string& video, uint64_t window) override {
        return recOut(callId, m_originateCallId, "originate", recipient, video, window);
    }
    int answer(int callId, const std::string& video, uint64_t window) override {
        return rec("answer", callId, video, window);
    }
    int endCall(int callId) override { return rec("endCall", callId); }
    int mute(int callId, bool audio, bool video) override { return rec("mute", callId, audio, video); }
    int unmute(int callId, bool audio, bool video) override { return rec("unmute", callId, audio, video); }
    int hold(int callId) override { return rec("hold", callId); }
    int resume(int callId) override { return rec("resume", callId); }
    int iDivert(int callId) override { return rec("iDivert", callId); }
    int sendDTMF(int callId, const std::string& digit) override { return rec("sendDTMF", callId, digit); }
    int setCaptureDevice(const std::string& id) override { return rec("setCaptureDevice", id); }
    int setPlayoutDevice(const std::string& id) override { return rec("setPlayoutDevice", id); }
    int setRecordingDevice(const std::string& id) override { return rec("setRecordingDevice", id); }
    int setRingerDevice(const std::string& id) override { return rec("setRingerDevice", id); }
    std::shared_ptr<ZepDeviceAndPhoneInfo> getDeviceAndPhoneInfo() override {
        std::shared_ptr<ZepDeviceAndPhoneInfo> device;
        recOut(device, m_spDevice, "getDeviceAndPhoneInfo");
        return device;
    }
    int getConnectionStatus(std::string& status) override {
        return recOut(status, m_connectionStatus, "getConnectionStatus");
    }
    int getMode(std::string& mode) override { return recOut(mode, m_mode, "getMode"); }
    int connect(const std::string& deviceName, const std::string& lineDN, bool force) override {
        return rec("connect", deviceName, lineDN, force);
    }
    int setVideoDirection(int callId, const std::string& d) override { return rec("setVideoDirection", callId, d); }
    int completeTransferCall(int callId) override { return rec("completeTransferCall", callId); }
    int cancelTransfer(int callId) override { return rec("cancelTransfer", callId); }
    int setCurrentSpeakerVolume(int v) override { return rec("setCurrentSpeakerVolume", v); }
    int setCurrentRingerVolume(int v) override { return rec("setCurrentRingerVolume", v); }
    int setCurrentMicrophoneVolume(int v) override { return rec("setCurrentMicrophoneVolume", v); }
    int getCurrentSpeakerVolume(int& v) override { return recOut(v, {}, "getCurrentSpeakerVolume"); }
    int getCurrentRingerVolume(int& v) override { return recOut(v, {}, "getCurrentRingerVolume"); }
    int getCurrentMicrophoneVolume(int& v) override { return recOut(v, {}, "getCurrentMicrophoneVolume"); }
    int getMultimediaDeviceVolume(const std::string& device, int& v) override {
        return recOut(v, m_volume, "getMultimediaDeviceVolume", device);
    }
    int ssoNavigationCompleted(int64_t result, const std::string& url, const std::string& document) override {
        return rec("ssoNavigationCompleted", result, url, document);
    }
    int restablishSSOSession() override { return rec("restablishSSOSession"); }
    int resetData() override { return rec("resetData"); }
    int getSSOSessionTimeRemaining(int64_t& t) override {
        return recOut(t, m_sessionTime, "getSSOSessionTimeRemaining");
    }
    int cancelSingleSignOn() override { return rec("cancelSingleSignOn"); }
    int suppressSSOSessionExpiryPrompt() override { return rec("suppressSSOSessionExpiryPrompt"); }
    int unsuppressSSOSessionExpiryPrompt(bool p) override { return rec("unsuppressSSOSessionExpiryPrompt", p); }
    int addPreviewWindow() override { return rec("addPreviewWindow"); }
    int removePreviewWindow() override { return rec("removePreviewWindow"); }
    int addWindowToCall(int callId) override { return rec("addWindowToCall", callId); }
    int removeWindowFromCall(int callId) override { return rec("removeWindowFromCall", callId); }
    int configure(const std::string& local, const std::string& remote) override {
        return rec("configure", local, remote);
    }
    int showCallInExternalWindow(int callId) override { return rec("showCallInExternalWindow", callId); }
    int showPreviewInExternalWindow() override { return rec("showPreviewInExternalWindow"); }
    int getExternalWindowState() override { return rec("getExternalWindowState"); }
    int hideExternalWindow() override { return rec("hideExternalWindow"); }
    int setExternalWindowAlwaysOnTop(bool b) override { return rec("setExternalWindowAlwaysOnTop", b); }
    int setExternalWindowShowControls(bool b) override { return rec("setExternalWindowShowControls", b); }
    int setExternalWindowShowSelfViewPip(bool b) override { return rec("setExternalWindowShowSelfViewPip", b); }
    int setExternalWindowTitle(const std::string& t) override { return rec("setExternalWindowTitle", t); }
    int dockExternalWindow(int x, int y, int w, int h, const std::string& title, int cx, int cy, int cw,
                           int ch) override {
        return rec("dockExternalWindow", x, y, w, h, title, cx, cy, cw, ch);
    }
    int dockUpdate(int x, int y, int w, int h, int pw, int ph, int cx, int cy, int cw, int ch) override {
        return rec("dockUpdate", x, y, w, h, pw, ph, cx, cy, cw, ch);
    }
    int undockExternalWindow() override { return rec("undockExternalWindow"); }
    int getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& d) override {
        return recOut(d, m_devices, "getMultimediaDevices");
    }
    int getAvailableDevices(PhoneList& d) override { return recOut(d, {}, "getAvailableDevices"); }
    int getCalls(std::vector<int>& callIds) override { return recOut(callIds, m_callIds, "getCalls"); }
    int getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        const int code = record("getCallInfo", {str(callId)});
        if (code == 0) call = m_callInfos.count(callId) ? m_callInfos[callId] : nullptr;
        return code;
    }
    int encryptPboxPassword(const std::string& password, std::string& encrypted) override {
        return recOut(encrypted, m_encrypted, "encryptPboxPassword", password);
    }
    int handleInvalidCertificate(const std::string& fingerprint, bool accept) override {
        return rec("handleInvalidCertificate", fingerprint, accept);
    }

private:
    // The kinds an observer implements, joined by '+'.
    static std::string kindsOf(const IObserverObject& observer) {
        const IObserverObject* p = &observer;
        const std::pair<bool, const char*> kinds[] = {
            {dynamic_cast<const ZepCallStateObserver*>(p) != nullptr, "callstate"},
            {dynamic_cast<const ZepConnectionObserver*>(p) != nullptr, "connection"},
            {dynamic_cast<const ZepStartupObserver*>(p) != nullptr, "startup"},
            {dynamic_cast<const ZepLoginObserver*>(p) != nullptr, "login"},
            {dynamic_cast<const ZepCertificateObserver*>(p) != nullptr, "certificate"},
            {dynamic_cast<const ZepMediaDeviceObserver*>(p) != nullptr, "mediadevice"},
            {dynamic_cast<const ZepExternalWindowObserver*>(p) != nullptr, "externalwindow"}};
        std::string text;
        for (const auto& kind : kinds)
            if (kind.first) text += (text.empty() ? "" : "+") + std::string(kind.second);
        return text;
    }

    using Call = std::pair<std::string, std::vector<std::string>>;

    template <class T>
    static std::string str(const T& value) {
        return std::to_string(value);
    }
    static std::string str(bool value) { return value ? "true" : "false"; }
    static std::string str(const std::string& value) { return value; }
    static std::string str(const std::vector<std::string>& values) { return "[" + join(values) + "]"; }
    static std::string join(const std::vector<std::string>& parts) {
        std::string text;
        for (size_t i = 0; i < parts.size(); ++i) text += (i == 0 ? "" : ", ") + parts[i];
        return text;
    }

    template <class T, class V>
    void set(T& member, const V& value) {
        std::lock_guard<std::mutex> lock(m_mutex);
        member = value;
    }
    // Records the call and returns the scripted code; the caller holds m_mutex.
    int record(const std::string& operation, std::vector<std::string> args) {
        m_calls.emplace_back(operation, std::move(args));
        auto it = m_results.find(operation);
        return it == m_results.end() ? 0 : it->second;
    }
    template <class... A>
    int rec(const std::string& operation, const A&... args) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return record(operation, {str(args)...});
    }
    template <class T, class... A>
    int recOut(T& out, const T& stored, const std::string& operation, const A&... args) {
        std::lock_guard<std::mutex> lock(m_mutex);
        const int code = record(operation, {str(args)...});
        if (code == 0) out = stored;
        return code;
    }

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
    std::vector<int> m_callIds;
    std::map<int, std::shared_ptr<ZepCallInfo>> m_callInfos;
    std::string m_encrypted;
    std::vector<std::shared_ptr<ZepMultimediaDevices>> m_devices;
    int m_volume = 0;
    int64_t m_sessionTime = 0;
};

}  // namespace test
}  // namespace tessel
