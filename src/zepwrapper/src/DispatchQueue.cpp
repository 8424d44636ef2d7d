#include "DispatchQueue.h"

#include <exception>
#include <utility>

#include "ZepLog.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/DispatchQueue";

void DispatchQueue::post(Task task) {
    if (!task) return;
    std::function<void()> wake;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_tasks.push_back(std::move(task));
        wake = m_wake;
    }
    if (wake) wake();
}

void DispatchQueue::postAt(Clock::time_point when, Task task) {
    if (!task) return;
    std::function<void()> wake;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_timed.emplace(when, std::move(task));
        wake = m_wake;
    }
    if (wake) wake();
}

void DispatchQueue::setWakeUp(std::function<void()> wake) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_wake = std::move(wake);
}

size_t DispatchQueue::runPending() {
    std::deque<Task> batch;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        batch.swap(m_tasks);
        const Clock::time_point now = Clock::now();
        auto due = m_timed.begin();
        for (; due != m_timed.end() && due->first <= now; ++due) batch.push_back(std::move(due->second));
        m_timed.erase(m_timed.begin(), due);
    }
    for (Task& task : batch) {
        try {
            task();
        } catch (const std::exception& e) {
            ZEP_LOG(OZKLogLevelError, kSrc, "UNEXPECTED exception from queued work [" << e.what() << "]");
        } catch (...) {
            ZEP_LOG(OZKLogLevelError, kSrc, "UNEXPECTED unknown exception from queued work");
        }
    }
    return batch.size();
}

long DispatchQueue::msUntilDue(Clock::time_point now) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_tasks.empty()) return 0;
    if (m_timed.empty()) return -1;
    const Clock::time_point next = m_timed.begin()->first;
    if (next <= now) return 0;
    // Rounded up: waking a little early would only find nothing due yet.
    return static_cast<long>(std::chrono::ceil<std::chrono::milliseconds>(next - now).count());
}

size_t DispatchQueue::clear() {
    std::deque<Task> dropped;
    std::multimap<Clock::time_point, Task> droppedTimed;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        dropped.swap(m_tasks);
        droppedTimed.swap(m_timed);
    }
    // Destroyed outside the lock: a task's captures may post again.
    return dropped.size() + droppedTimed.size();
}

size_t DispatchQueue::size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_tasks.size() + m_timed.size();
}

}  // namespace zep
}  // namespace tessel
