#include "bridge/ZepWCmdClient.h"

#include <zepwrapper/ZepWrapper.h>

#include "threading/ScopedLock.h"

namespace tessel {

ZepWCmdClient::ZepWCmdClient() {
    ozk::ScopedLock lock(m_mutex);
    if (m_pZepW == nullptr) {
        m_pZepW = zepWrapperGetInterface();
    }
    m_started = false;
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
    m_started = true;
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

bool ZepWCmdClient::isZepWrapperStarted() {
    ozk::ScopedLock lock(m_mutex);
    return m_started;
}

}  // namespace tessel
