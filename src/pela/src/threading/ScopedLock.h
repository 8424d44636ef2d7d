#pragma once

#include "threading/Mutex.h"

namespace ozk {

// Locks on construction; unlock() or the destructor releases it once.
class ScopedLock {
public:
    explicit ScopedLock(Mutex& mutex);
    ~ScopedLock();
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

    // Returns the unlock result, or 0 when already unlocked.
    int unlock();

private:
    Mutex* m_mutex;
};

}  // namespace ozk
