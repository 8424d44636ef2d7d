#include "channel/CinFailPoolingThread.h"

#include "logging/LogMacros.h"

static const char* const kSrc = "src/pela/src/CinFailPoolingThread";

namespace tessel {

namespace {
const long kPollMs = 1000;
}

CinFailPoolingThread::CinFailPoolingThread(std::shared_ptr<ozk::Event> shutdownEvent, ILog* log)
    : m_pLog(log),
      m_event(true),
      m_spShutdownEvent(shutdownEvent),
      m_stop(false),
      m_spInputState(InputState::standardInput()) {}

void CinFailPoolingThread::configure(ILog* log, std::shared_ptr<ozk::Event> shutdownEvent) {
    m_pLog = log;
    m_spShutdownEvent = shutdownEvent;
}

void CinFailPoolingThread::setInputState(std::shared_ptr<InputState> spInputState) {
    m_spInputState = spInputState;
}

int CinFailPoolingThread::start() {
    return m_thread.start(*this);
}

void CinFailPoolingThread::stop() {
    m_stop.store(true);
    m_event.set();
}

bool CinFailPoolingThread::join() {
    PELA_LOG4(m_pLog, kSrc, "CinFailPoolingThread wait for thread to exit.");
    return m_thread.join();
}

void CinFailPoolingThread::run() {
    if (m_pLog == nullptr) {
        return;
    }
    PELA_LOG4(m_pLog, kSrc, "CinFailPoolingThread handler running");
    if (!m_stop.load()) {
        while (!m_spInputState->isFailed()) {
            // Sleeps interruptibly: stop() wakes it at once.
            m_event.timedWait(kPollMs);
            if (m_stop.load()) {
                PELA_LOG4(m_pLog, kSrc, "CinFailPoolingThread exiting");
                return;
            }
        }
        if (m_spShutdownEvent) {
            m_spShutdownEvent->set();
        }
        m_event.set();
        PELA_LOG4(m_pLog, kSrc, "cin failed, event is set");
    }
    PELA_LOG4(m_pLog, kSrc, "CinFailPoolingThread exiting");
}

}  // namespace tessel
