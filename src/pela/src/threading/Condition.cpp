#include "threading/Condition.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "threading/MutexData.h"

namespace ozk {

struct Condition::Data {
    pthread_cond_t cond;
};

Condition::Condition() : m_data(new Data) {
    // Timed waits measure against the monotonic clock so that a change of the
    // wall clock neither shortens nor stretches them.
    pthread_condattr_t attr;
    int result = pthread_condattr_init(&attr);
    if (result == 0) {
        pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
        result = pthread_cond_init(&m_data->cond, &attr);
        pthread_condattr_destroy(&attr);
    }
    if (result != 0) {
        puts("pthread_cond_init: failed to initialize condition variable");
        abort();
    }
}

Condition::~Condition() {
    pthread_cond_destroy(&m_data->cond);
    delete m_data;
}

int Condition::signal() {
    return pthread_cond_signal(&m_data->cond);
}

int Condition::broadcast() {
    return pthread_cond_broadcast(&m_data->cond);
}

int Condition::wait(Mutex& mutex) {
    return pthread_cond_wait(&m_data->cond, &mutex.data()->mutex);
}

int Condition::timedWait(Mutex& mutex, long ms) {
    struct timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += (ms % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    } else if (deadline.tv_nsec < 0) {
        deadline.tv_sec -= 1;
        deadline.tv_nsec += 1000000000L;
    }
    int result = pthread_cond_timedwait(&m_data->cond, &mutex.data()->mutex, &deadline);
    if (result == EINVAL) {
        puts("Condition::timedWait: pthread_cond_timedwait_relative_np: EINVAL");
    }
    return result;
}

}  // namespace ozk
