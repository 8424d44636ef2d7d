#pragma once

#include <pthread.h>

#include "threading/Mutex.h"

namespace ozk {

// Private to the threading layer: Condition waits on the raw mutex.
struct Mutex::Data {
    pthread_mutex_t mutex;
    pthread_mutexattr_t attr;
};

}  // namespace ozk
