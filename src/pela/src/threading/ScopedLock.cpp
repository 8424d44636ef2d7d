#include "threading/ScopedLock.h"

namespace ozk {

ScopedLock::ScopedLock(Mutex& mutex) : m_mutex(&mutex) {
    m_mutex->lock();
}

ScopedLock::~ScopedLock() {
    unlock();
}

int ScopedLock::unlock() {
    if (m_mutex == nullptr) {
        return 0;
    }
    int result = m_mutex->unlock();
    m_mutex = nullptr;
    return result;
}

}  // namespace ozk
