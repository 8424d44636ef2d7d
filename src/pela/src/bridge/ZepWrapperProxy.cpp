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

std::shared_ptr<ZepDeviceAndPhoneInfo> ZepWrapperProxy::getDeviceAndPhoneInfo() {
    ZepWrapperAPI* pZepW = loaded("getDeviceAndPhoneInfo");
    return pZepW != nullptr ? pZepW->getDeviceAndPhoneInfo() : std::shared_ptr<ZepDeviceAndPhoneInfo>();
}

}  // namespace tessel
