#include "dispatch/TaskQueue.h"

#include "threading/ScopedLock.h"

namespace tessel {

void TaskQueue::push(std::shared_ptr<ITask> task) {
    ozk::ScopedLock lock(m_mutex);
    m_tasks.push_back(task);
    // Notified under the lock: observers only set an event.
    if (auto spObserver = m_observer.lock()) {
        spObserver->notifyNewTask();
    }
}

bool TaskQueue::pop(std::shared_ptr<ITask>& task) {
    ozk::ScopedLock lock(m_mutex);
    if (m_tasks.empty()) {
        return false;
    }
    task = std::move(m_tasks.front());
    m_tasks.pop_front();
    return true;
}

// The observer registers from its own thread while pushers may already be
// notifying, so the reference is swapped under the queue's lock.
void TaskQueue::registerObserver(std::shared_ptr<ITaskSourceObserver> observer) {
    ozk::ScopedLock lock(m_mutex);
    m_observer = observer;
}

void TaskQueue::unregisterObserver() {
    ozk::ScopedLock lock(m_mutex);
    m_observer.reset();
}

}  // namespace tessel
