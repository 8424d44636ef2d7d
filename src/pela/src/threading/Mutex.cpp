#include "threading/Mutex.h"

#include "threading/MutexData.h"

namespace ozk {

Mutex::Mutex() : m_data(new Data) {
    pthread_mutexattr_init(&m_data->attr);
    // Recursive: locked sections of one thread may call into each other.
    pthread_mutexattr_settype(&m_data->attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_data->mutex, &m_data->attr);
}

Mutex::~Mutex() {
    pthread_mutex_destroy(&m_data->mutex);
    pthread_mutexattr_destroy(&m_data->attr);
    delete m_data;
}

int Mutex::lock() {
    return pthread_mutex_lock(&m_data->mutex);
}

int Mutex::unlock() {
    return pthread_mutex_unlock(&m_data->mutex);
}

}  // namespace ozk
