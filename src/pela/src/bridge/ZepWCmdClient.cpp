#include "bridge/ZepWCmdClient.h"

#include <utility>

#include "threading/ScopedLock.h"

namespace tessel {

ZepWCmdClient::ZepWCmdClient() : m_spProxy(std::make_unique<ZepWrapperProxy>()) {
    ozk::ScopedLock lock(m_mutex);
    m_pZepW = m_spProxy.get();
    m_started = false;
}

void ZepWCmdClient::setLog(ILog* log) {
    if (m_spProxy) {
        m_spProxy->setLog(log);
    }
}

ZepWCmdClient::ZepWCmdClient(ZepWrapperAPI* pZepW) {
    ozk::ScopedLock lock(m_mutex);
    m_pZepW = pZepW;
    m_started = false;
}

ZepWCmdClient::~ZepWCmdClient() = default;

void ZepWCmdClient::startZepWrapper() {
    ozk::ScopedLock lock(m_mutex);
    if (m_started || m_pZepW == nullptr) {
        return;
    }
    m_pZepW->start();
    // A start that failed (another host holds the state) is tried again by
    // the next page that asks, rather than taken for a running framework.
    m_started = m_pZepW->isStarted();
}

ZepWrapperAPI* ZepWCmdClient::getZepWrapper() const {
    ozk::ScopedLock lock(m_mutex);
    return m_pZepW;
}

void ZepWCmdClient::stopZepWrapper() {
    ozk::ScopedLock lock(m_mutex);
    if (!m_started) {
        return;
    }
    m_pZepW->stop();
    m_started = false;
}

void ZepWCmdClient::pumpNextDispatcherTask() {
    ozk::ScopedLock lock(m_mutex);
    if (!m_started) {
        return;
    }
    m_pZepW->pumpNextDispatcherTask();
}

long ZepWCmdClient::dispatcherIdleMs() {
    ozk::ScopedLock lock(m_mutex);
    if (!m_started) {
        return -1;
    }
    return m_pZepW->dispatcherIdleMs();
}

void ZepWCmdClient::setDispatcherWakeUp(std::function<void()> wake) {
    ozk::ScopedLock lock(m_mutex);
    if (m_pZepW != nullptr) {
        m_pZepW->setDispatcherWakeUp(std::move(wake));
    }
}

bool ZepWCmdClient::isZepWrapperStarted() {
    ozk::ScopedLock lock(m_mutex);
    return m_started;
}

}  // namespace tessel
