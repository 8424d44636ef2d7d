#include "threading/Thread.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <utility>

#include "threading/Mutex.h"
#include "threading/ScopedLock.h"

namespace ozk {

namespace {

// The kernel keeps at most 15 bytes of a thread's name.
const size_t kMaxSystemNameBytes = 15;

std::string systemName(const std::string& name) {
    if (name.size() <= kMaxSystemNameBytes) {
        return name;
    }
    size_t cut = kMaxSystemNameBytes;
    // Do not split a UTF-8 sequence: back off over continuation bytes.
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) {
        --cut;
    }
    return name.substr(0, cut);
}

}  // namespace

struct Thread::Data {
    explicit Data(std::string threadName) : name(std::move(threadName)) {}

    std::string name;
    int stackSize = 0;
    Runnable* runnable = nullptr;
    pthread_t thread{};
    bool started = false;
    // Read without the mutex by isRunning().
    std::atomic<bool> running{false};
    // The owner went away while the thread ran: the thread frees the block.
    bool orphaned = false;
    // Guards start and, for the new thread, what start stores.
    Mutex mutex;
};

namespace {

void* threadEntry(void* arg) {
    auto* data = static_cast<Thread::Data*>(arg);
    std::string name;
    Runnable* runnable = nullptr;
    bool selfIsStored = false;
    {
        // Waits until start() has stored the pthread_t and set the running flag.
        ScopedLock lock(data->mutex);
        if (data->name.empty()) {
            char buffer[32];
            snprintf(buffer, sizeof(buffer), "%p", reinterpret_cast<void*>(pthread_self()));
            data->name = buffer;
        }
        name = data->name;
        runnable = data->runnable;
        selfIsStored = pthread_equal(data->thread, pthread_self()) != 0;
    }

    int result = pthread_setname_np(pthread_self(), systemName(name).c_str());
    if (result != 0) {
        printf("Failed to set name '%s' for thread, pthread_setname_np() returned: %d\n", name.c_str(), result);
    }

    runnable->run();

    bool orphaned;
    {
        ScopedLock lock(data->mutex);
        // After this an owner may free the block: it must not be touched again.
        data->running = false;
        orphaned = data->orphaned;
    }
    if (orphaned) {
        delete data;
    }
    if (selfIsStored) {
        pthread_exit(nullptr);
    }
    return nullptr;
}

}  // namespace

Thread::Thread() : m_data(new Data("")) {}

Thread::Thread(const std::string& name) : m_data(new Data(name)) {}

Thread::~Thread() {
    {
        ScopedLock lock(m_data->mutex);
        if (m_data->running) {
            // The thread still uses the block; it frees it when it ends.
            m_data->orphaned = true;
            pthread_detach(m_data->thread);
            return;
        }
    }
    delete m_data;
}

int Thread::start(Runnable& runnable) {
    ScopedLock lock(m_data->mutex);
    m_data->runnable = &runnable;

    pthread_attr_t attr;
    int result = pthread_attr_init(&attr);
    if (result != 0) {
        printf("Failed to init attribute for thread '%s': %d\n", m_data->name.c_str(), result);
        return result;
    }

    int stackResult = 0;
    if (m_data->stackSize != 0) {
        stackResult = pthread_attr_setstacksize(&attr, static_cast<size_t>(m_data->stackSize));
        if (stackResult != 0) {
            printf("Invalid stacksize %d specified for thread '%s': %d\n", m_data->stackSize, m_data->name.c_str(),
                   stackResult);
        }
    }

    pthread_t thread;
    result = pthread_create(&thread, &attr, threadEntry, m_data);
    pthread_attr_destroy(&attr);
    if (result != 0) {
        printf("Creation of thread '%s' failed: %d\n", m_data->name.c_str(), result);
        return result;
    }
    m_data->thread = thread;
    m_data->started = true;
    m_data->running = true;
    return stackResult;
}

bool Thread::join() {
    pthread_t thread;
    {
        ScopedLock lock(m_data->mutex);
        if (!m_data->started) {
            // Joining a thread that never existed fails instead of crashing.
            return true;
        }
        thread = m_data->thread;
    }
    return pthread_join(thread, nullptr) != 0;
}

bool Thread::isRunning() const {
    return m_data->running;
}

std::string Thread::getName() const {
    ScopedLock lock(m_data->mutex);
    return m_data->name;
}

void Thread::setName(const std::string& name) {
    ScopedLock lock(m_data->mutex);
    m_data->name = name;
}

int Thread::setStackSize(int size) {
    ScopedLock lock(m_data->mutex);
    if (m_data->running) {
        return 1;
    }
    m_data->stackSize = size;
    return 0;
}

int Thread::getStackSize() const {
    ScopedLock lock(m_data->mutex);
    return m_data->stackSize;
}

void Thread::sleep(unsigned long ms) {
    struct timespec request;
    request.tv_sec = static_cast<time_t>(ms / 1000);
    request.tv_nsec = static_cast<long>((ms % 1000) * 1000000UL);
    struct timespec remaining;
    while (nanosleep(&request, &remaining) == -1 && errno == EINTR) {
        request = remaining;
    }
}

}  // namespace ozk
