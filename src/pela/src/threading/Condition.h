#pragma once

#include "threading/Mutex.h"

namespace ozk {

class Condition {
public:
    Condition();
    ~Condition();
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    int signal();
    int broadcast();
    int wait(Mutex& mutex);
    // Relative wait of ms milliseconds against the monotonic clock.
    // 0 when woken, ETIMEDOUT when the time ran out.
    int timedWait(Mutex& mutex, long ms);

    struct Data;

private:
    Data* m_data;
};

}  // namespace ozk
