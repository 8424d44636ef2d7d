#include "bridge/ZepWrapperProxy.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include <zepwrapper/ResultCodes.h>
#include <zepwrapper/ZepConnectionObserver.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ZepWrapperProxy";

namespace {
typedef ZepWrapperAPI* (*GetInterface)();

// dlopen's own search cannot be relied on for the executable's run path: a
// sanitizer's interceptor, for one, makes itself the caller whose run path
// counts. So the places we install to are tried by full path first.
void* openLibrary(const std::string& library) {
    if (library.find('/') == std::string::npos) {
        char exe[PATH_MAX + 1];
        const ssize_t n = readlink("/proc/self/exe", exe, PATH_MAX);
        if (n > 0) {
            const std::string path(exe, static_cast<size_t>(n));
            const std::string folder = path.substr(0, path.rfind('/'));
            for (const std::string& candidate : {folder + "/" + library, folder + "/../lib/" + library}) {
                if (access(candidate.c_str(), R_OK) == 0) {
                    return dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
                }
            }
        }
    }
    return dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
}
}  // namespace

ZepWrapperProxy::ZepWrapperProxy(std::string library) : m_library(std::move(library)) {}

// The library stays loaded: its interface object lives as long as the process.
ZepWrapperProxy::~ZepWrapperProxy() = default;

void ZepWrapperProxy::setLog(ILog* log) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_log = log;
}

ZepWrapperAPI* ZepWrapperProxy::loaded(const char* operation) {
    if (ZepWrapperAPI* pReal = m_pReal.load()) {
        return pReal;
    }
    std::vector<std::shared_ptr<IObserverObject>> observers;
    std::string failure;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (ZepWrapperAPI* pReal = m_pReal.load()) {
            return pReal;
        }
        if (m_failed) {
            PELA_LOG4(m_log, kSrc, operation << ": no framework (" << m_failure << ")");
            return nullptr;
        }
        const auto t0 = std::chrono::steady_clock::now();
        void* handle = openLibrary(m_library);
        GetInterface get =
            handle != nullptr ? reinterpret_cast<GetInterface>(dlsym(handle, "zepWrapperGetInterface")) : nullptr;
        ZepWrapperAPI* pReal = get != nullptr ? get() : nullptr;
        if (pReal != nullptr) {
            const long ms = static_cast<long>(
                std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0).count());
            PELA_LOG4(m_log, kSrc,
                      "framework library [" << m_library << "] loaded in " << ms << " ms, for " << operation);
            // Under the lock: an observer registering meanwhile must not slip between.
            for (const auto& observer : m_observers) {
                pReal->registerObserver(observer);
            }
            m_observers.clear();
            if (m_wake) {
                pReal->setDispatcherWakeUp(m_wake);
            }
            m_pReal.store(pReal);
            return pReal;
        }
        const char* why = dlerror();
        m_failed = true;
        m_failure = "cannot load the telephony framework [" + m_library + "]: " + (why ? why : "no interface");
        PELA_LOG4(m_log, kSrc, "UNEXPECTED " << m_failure);
        failure = m_failure;
        observers = m_observers;
    }
    // Pages wait for the framework to start; they must hear that it cannot.
    for (const auto& observer : observers) {
        if (auto connection = std::dynamic_pointer_cast<ZepConnectionObserver>(observer)) {
            connection->onConnectionFailure(failure);
        }
    }
    return nullptr;
}

void ZepWrapperProxy::registerObserver(std::shared_ptr<IObserverObject> observer) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_pReal.load() == nullptr) {
            m_observers.push_back(std::move(observer));
            return;
        }
    }
    m_pReal.load()->registerObserver(std::move(observer));
}

void ZepWrapperProxy::unregisterObserver(std::shared_ptr<IObserverObject> observer) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_pReal.load() == nullptr) {
            m_observers.erase(std::remove(m_observers.begin(), m_observers.end(), observer), m_observers.end());
            return;
        }
    }
    m_pReal.load()->unregisterObserver(std::move(observer));
}

void ZepWrapperProxy::start() {
    if (ZepWrapperAPI* pZepW = loaded("start")) {
        pZepW->start();
    }
}

// Nothing to stop, and nothing to load for it, before the first start.
void ZepWrapperProxy::stop() {
    if (ZepWrapperAPI* pZepW = m_pReal.load()) {
        pZepW->stop();
    }
}

bool ZepWrapperProxy::isStarted() const {
    const ZepWrapperAPI* pZepW = m_pReal.load();
    return pZepW != nullptr && pZepW->isStarted();
}

void ZepWrapperProxy::pumpNextDispatcherTask() {
    if (ZepWrapperAPI* pZepW = m_pReal.load()) {
        pZepW->pumpNextDispatcherTask();
    }
}

long ZepWrapperProxy::dispatcherIdleMs() {
    ZepWrapperAPI* pZepW = m_pReal.load();
    return pZepW != nullptr ? pZepW->dispatcherIdleMs() : -1;
}

void ZepWrapperProxy::setDispatcherWakeUp(std::function<void()> wake) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_wake = wake;
        if (m_pReal.load() == nullptr) {
            return;
        }
    }
    m_pReal.load()->setDispatcherWakeUp(std::move(wake));
}

int ZepWrapperProxy::logout() {
    ZepWrapperAPI* pZepW = loaded("logout");
    return pZepW != nullptr ? pZepW->logout() : ApiReturnCodeEnum::eOperationFailed;
}

void ZepWrapperProxy::setLoryAddressList(const std::vector<std::string>& addresses) {
    if (ZepWrapperAPI* pZepW = loaded("setLoryAddressList")) {
        pZepW->setLoryAddressList(addresses);
    }
}

void ZepWrapperProxy::setTftpAddressList(const std::vector<std::string>& addresses) {
    if (ZepWrapperAPI* pZepW = loaded("setTftpAddressList")) {
        pZepW->setTftpAddressList(addresses);
    }
}

void ZepWrapperProxy::setCtiAddressList(const std::vector<std::string>& addresses) {
    if (ZepWrapperAPI* pZepW = loaded("setCtiAddressList")) {
        pZepW->setCtiAddressList(addresses);
    }
}

int ZepWrapperProxy::startSignIn(bool manualSettings) {
    ZepWrapperAPI* pZepW = loaded("startSignIn");
    return pZepW != nullptr ? pZepW->startSignIn(manualSettings) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setUserProfileEmailAddress(const std::string& email) {
    ZepWrapperAPI* pZepW = loaded("setUserProfileEmailAddress");
    return pZepW != nullptr ? pZepW->setUserProfileEmailAddress(email) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setUserProfileCredentials(unsigned authenticator, const std::string& username,
                                               const std::string& password) {
    ZepWrapperAPI* pZepW = loaded("setUserProfileCredentials");
    return pZepW != nullptr ? pZepW->setUserProfileCredentials(authenticator, username, password)
                            : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::joinCalls(int callId, int joinCallId) {
    ZepWrapperAPI* pZepW = loaded("joinCalls");
    return pZepW != nullptr ? pZepW->joinCalls(callId, joinCallId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::transferCall(int callId, const std::string& number) {
    ZepWrapperAPI* pZepW = loaded("transferCall");
    return pZepW != nullptr ? pZepW->transferCall(callId, number) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::originate(const std::string& recipient, int& callId, const std::string& videoDirection,
                               uint64_t windowhandle) {
    ZepWrapperAPI* pZepW = loaded("originate");
    return pZepW != nullptr ? pZepW->originate(recipient, callId, videoDirection, windowhandle)
                            : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::answer(int callId, const std::string& videoDirection, uint64_t windowhandle) {
    ZepWrapperAPI* pZepW = loaded("answer");
    return pZepW != nullptr ? pZepW->answer(callId, videoDirection, windowhandle) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::endCall(int callId) {
    ZepWrapperAPI* pZepW = loaded("endCall");
    return pZepW != nullptr ? pZepW->endCall(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::mute(int callId, bool audio, bool video) {
    ZepWrapperAPI* pZepW = loaded("mute");
    return pZepW != nullptr ? pZepW->mute(callId, audio, video) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::unmute(int callId, bool audio, bool video) {
    ZepWrapperAPI* pZepW = loaded("unmute");
    return pZepW != nullptr ? pZepW->unmute(callId, audio, video) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::hold(int callId) {
    ZepWrapperAPI* pZepW = loaded("hold");
    return pZepW != nullptr ? pZepW->hold(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::resume(int callId) {
    ZepWrapperAPI* pZepW = loaded("resume");
    return pZepW != nullptr ? pZepW->resume(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::iDivert(int callId) {
    ZepWrapperAPI* pZepW = loaded("iDivert");
    return pZepW != nullptr ? pZepW->iDivert(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::sendDTMF(int callId, const std::string& digit) {
    ZepWrapperAPI* pZepW = loaded("sendDTMF");
    return pZepW != nullptr ? pZepW->sendDTMF(callId, digit) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setCaptureDevice(const std::string& id) {
    ZepWrapperAPI* pZepW = loaded("setCaptureDevice");
    return pZepW != nullptr ? pZepW->setCaptureDevice(id) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setPlayoutDevice(const std::string& id) {
    ZepWrapperAPI* pZepW = loaded("setPlayoutDevice");
    return pZepW != nullptr ? pZepW->setPlayoutDevice(id) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setRecordingDevice(const std::string& id) {
    ZepWrapperAPI* pZepW = loaded("setRecordingDevice");
    return pZepW != nullptr ? pZepW->setRecordingDevice(id) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setRingerDevice(const std::string& id) {
    ZepWrapperAPI* pZepW = loaded("setRingerDevice");
    return pZepW != nullptr ? pZepW->setRingerDevice(id) : ApiReturnCodeEnum::eOperationFailed;
}

std::shared_ptr<ZepDeviceAndPhoneInfo> ZepWrapperProxy::getDeviceAndPhoneInfo() {
    ZepWrapperAPI* pZepW = loaded("getDeviceAndPhoneInfo");
    return pZepW != nullptr ? pZepW->getDeviceAndPhoneInfo() : std::shared_ptr<ZepDeviceAndPhoneInfo>();
}

int ZepWrapperProxy::getConnectionStatus(std::string& status) {
    ZepWrapperAPI* pZepW = loaded("getConnectionStatus");
    return pZepW != nullptr ? pZepW->getConnectionStatus(status) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getMode(std::string& mode) {
    ZepWrapperAPI* pZepW = loaded("getMode");
    return pZepW != nullptr ? pZepW->getMode(mode) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::connect(const std::string& deviceName, const std::string& lineDN, bool forceRegistration) {
    ZepWrapperAPI* pZepW = loaded("connect");
    return pZepW != nullptr ? pZepW->connect(deviceName, lineDN, forceRegistration)
                            : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setVideoDirection(int callId, const std::string& direction) {
    ZepWrapperAPI* pZepW = loaded("setVideoDirection");
    return pZepW != nullptr ? pZepW->setVideoDirection(callId, direction) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::completeTransferCall(int callId) {
    ZepWrapperAPI* pZepW = loaded("completeTransferCall");
    return pZepW != nullptr ? pZepW->completeTransferCall(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::cancelTransfer(int callId) {
    ZepWrapperAPI* pZepW = loaded("cancelTransfer");
    return pZepW != nullptr ? pZepW->cancelTransfer(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setCurrentSpeakerVolume(int volume) {
    ZepWrapperAPI* pZepW = loaded("setCurrentSpeakerVolume");
    return pZepW != nullptr ? pZepW->setCurrentSpeakerVolume(volume) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setCurrentRingerVolume(int volume) {
    ZepWrapperAPI* pZepW = loaded("setCurrentRingerVolume");
    return pZepW != nullptr ? pZepW->setCurrentRingerVolume(volume) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setCurrentMicrophoneVolume(int volume) {
    ZepWrapperAPI* pZepW = loaded("setCurrentMicrophoneVolume");
    return pZepW != nullptr ? pZepW->setCurrentMicrophoneVolume(volume) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getCurrentSpeakerVolume(int& volume) {
    ZepWrapperAPI* pZepW = loaded("getCurrentSpeakerVolume");
    return pZepW != nullptr ? pZepW->getCurrentSpeakerVolume(volume) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getCurrentRingerVolume(int& volume) {
    ZepWrapperAPI* pZepW = loaded("getCurrentRingerVolume");
    return pZepW != nullptr ? pZepW->getCurrentRingerVolume(volume) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getCurrentMicrophoneVolume(int& volume) {
    ZepWrapperAPI* pZepW = loaded("getCurrentMicrophoneVolume");
    return pZepW != nullptr ? pZepW->getCurrentMicrophoneVolume(volume) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getMultimediaDeviceVolume(const std::string& device, int& volume) {
    ZepWrapperAPI* pZepW = loaded("getMultimediaDeviceVolume");
    return pZepW != nullptr ? pZepW->getMultimediaDeviceVolume(device, volume) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::ssoNavigationCompleted(int64_t result, const std::string& url, const std::string& document) {
    ZepWrapperAPI* pZepW = loaded("ssoNavigationCompleted");
    return pZepW != nullptr ? pZepW->ssoNavigationCompleted(result, url, document)
                            : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::restablishSSOSession() {
    ZepWrapperAPI* pZepW = loaded("restablishSSOSession");
    return pZepW != nullptr ? pZepW->restablishSSOSession() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::resetData() {
    ZepWrapperAPI* pZepW = loaded("resetData");
    return pZepW != nullptr ? pZepW->resetData() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getSSOSessionTimeRemaining(int64_t& time) {
    ZepWrapperAPI* pZepW = loaded("getSSOSessionTimeRemaining");
    return pZepW != nullptr ? pZepW->getSSOSessionTimeRemaining(time) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::cancelSingleSignOn() {
    ZepWrapperAPI* pZepW = loaded("cancelSingleSignOn");
    return pZepW != nullptr ? pZepW->cancelSingleSignOn() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::suppressSSOSessionExpiryPrompt() {
    ZepWrapperAPI* pZepW = loaded("suppressSSOSessionExpiryPrompt");
    return pZepW != nullptr ? pZepW->suppressSSOSessionExpiryPrompt() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::unsuppressSSOSessionExpiryPrompt(bool promptIfExpired) {
    ZepWrapperAPI* pZepW = loaded("unsuppressSSOSessionExpiryPrompt");
    return pZepW != nullptr ? pZepW->unsuppressSSOSessionExpiryPrompt(promptIfExpired)
                            : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::addPreviewWindow() {
    ZepWrapperAPI* pZepW = loaded("addPreviewWindow");
    return pZepW != nullptr ? pZepW->addPreviewWindow() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::removePreviewWindow() {
    ZepWrapperAPI* pZepW = loaded("removePreviewWindow");
    return pZepW != nullptr ? pZepW->removePreviewWindow() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::addWindowToCall(int callId) {
    ZepWrapperAPI* pZepW = loaded("addWindowToCall");
    return pZepW != nullptr ? pZepW->addWindowToCall(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::removeWindowFromCall(int callId) {
    ZepWrapperAPI* pZepW = loaded("removeWindowFromCall");
    return pZepW != nullptr ? pZepW->removeWindowFromCall(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::configure(const std::string& shmLocalName, const std::string& shmRemoteName) {
    ZepWrapperAPI* pZepW = loaded("configure");
    return pZepW != nullptr ? pZepW->configure(shmLocalName, shmRemoteName) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::showCallInExternalWindow(int callId) {
    ZepWrapperAPI* pZepW = loaded("showCallInExternalWindow");
    return pZepW != nullptr ? pZepW->showCallInExternalWindow(callId) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::showPreviewInExternalWindow() {
    ZepWrapperAPI* pZepW = loaded("showPreviewInExternalWindow");
    return pZepW != nullptr ? pZepW->showPreviewInExternalWindow() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getExternalWindowState() {
    ZepWrapperAPI* pZepW = loaded("getExternalWindowState");
    return pZepW != nullptr ? pZepW->getExternalWindowState() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::hideExternalWindow() {
    ZepWrapperAPI* pZepW = loaded("hideExternalWindow");
    return pZepW != nullptr ? pZepW->hideExternalWindow() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setExternalWindowAlwaysOnTop(bool onTop) {
    ZepWrapperAPI* pZepW = loaded("setExternalWindowAlwaysOnTop");
    return pZepW != nullptr ? pZepW->setExternalWindowAlwaysOnTop(onTop) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setExternalWindowShowControls(bool show) {
    ZepWrapperAPI* pZepW = loaded("setExternalWindowShowControls");
    return pZepW != nullptr ? pZepW->setExternalWindowShowControls(show) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setExternalWindowShowSelfViewPip(bool show) {
    ZepWrapperAPI* pZepW = loaded("setExternalWindowShowSelfViewPip");
    return pZepW != nullptr ? pZepW->setExternalWindowShowSelfViewPip(show) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::setExternalWindowTitle(const std::string& title) {
    ZepWrapperAPI* pZepW = loaded("setExternalWindowTitle");
    return pZepW != nullptr ? pZepW->setExternalWindowTitle(title) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::dockExternalWindow(int offsetX, int offsetY, int width, int height, const std::string& title,
                                        int cropOffsetX, int cropOffsetY, int cropWidth, int cropHeight) {
    ZepWrapperAPI* pZepW = loaded("dockExternalWindow");
    return pZepW != nullptr ? pZepW->dockExternalWindow(offsetX, offsetY, width, height, title, cropOffsetX,
                                                        cropOffsetY, cropWidth, cropHeight)
                            : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::dockUpdate(int offsetX, int offsetY, int width, int height, int pageWidth, int pageHeight,
                                int cropOffsetX, int cropOffsetY, int cropWidth, int cropHeight) {
    ZepWrapperAPI* pZepW = loaded("dockUpdate");
    return pZepW != nullptr ? pZepW->dockUpdate(offsetX, offsetY, width, height, pageWidth, pageHeight, cropOffsetX,
                                                cropOffsetY, cropWidth, cropHeight)
                            : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::undockExternalWindow() {
    ZepWrapperAPI* pZepW = loaded("undockExternalWindow");
    return pZepW != nullptr ? pZepW->undockExternalWindow() : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) {
    ZepWrapperAPI* pZepW = loaded("getMultimediaDevices");
    return pZepW != nullptr ? pZepW->getMultimediaDevices(devices) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getAvailableDevices(PhoneList& devices) {
    ZepWrapperAPI* pZepW = loaded("getAvailableDevices");
    return pZepW != nullptr ? pZepW->getAvailableDevices(devices) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getCalls(std::vector<int>& callIds) {
    ZepWrapperAPI* pZepW = loaded("getCalls");
    return pZepW != nullptr ? pZepW->getCalls(callIds) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call) {
    ZepWrapperAPI* pZepW = loaded("getCallInfo");
    return pZepW != nullptr ? pZepW->getCallInfo(callId, call) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::encryptPboxPassword(const std::string& password, std::string& encrypted) {
    ZepWrapperAPI* pZepW = loaded("encryptPboxPassword");
    return pZepW != nullptr ? pZepW->encryptPboxPassword(password, encrypted) : ApiReturnCodeEnum::eOperationFailed;
}

int ZepWrapperProxy::handleInvalidCertificate(const std::string& certFingerprint, bool accept) {
    ZepWrapperAPI* pZepW = loaded("handleInvalidCertificate");
    return pZepW != nullptr ? pZepW->handleInvalidCertificate(certFingerprint, accept)
                            : ApiReturnCodeEnum::eOperationFailed;
}

}  // namespace tessel
