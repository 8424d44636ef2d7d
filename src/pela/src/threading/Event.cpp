#include "threading/Event.h"

#include "threading/Condition.h"
#include "threading/Mutex.h"
#include "threading/ScopedLock.h"

namespace ozk {

struct Event::EventData {
    explicit EventData(bool isAutoReset) : autoReset(isAutoReset) {}

    const bool autoReset;
    bool signalled = false;
    Mutex mutex;
    Condition condition;
};

Event::Event(bool autoReset) : m_data(new EventData(autoReset)) {}

Event::~Event() {
    delete m_data;
}

bool Event::set() {
    ScopedLock lock(m_data->mutex);
    if (!m_data->signalled) {
        m_data->signalled = true;
        // An auto-reset signal is consumed by one waiter: waking more is pointless.
        if (m_data->autoReset) {
            m_data->condition.signal();
        } else {
            m_data->condition.broadcast();
        }
    }
    return true;
}

bool Event::reset() {
    ScopedLock lock(m_data->mutex);
    if (m_data->autoReset) {
        return false;
    }
    m_data->signalled = false;
    return true;
}

bool Event::wait() {
    ScopedLock lock(m_data->mutex);
    while (!m_data->signalled) {
        m_data->condition.wait(m_data->mutex);
    }
    if (m_data->autoReset) {
        m_data->signalled = false;
    }
    return true;
}

bool Event::timedWait(long ms) {
    if (ms < 0) {
        return false;
    }
    ScopedLock lock(m_data->mutex);
    while (!m_data->signalled) {
        if (m_data->condition.timedWait(m_data->mutex, ms) != 0) {
            return false;
        }
    }
    if (m_data->autoReset) {
        m_data->signalled = false;
    }
    return true;
}

}  // namespace ozk
