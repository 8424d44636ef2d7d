#include "DispatchQueue.h"

#include <exception>
#include <utility>

#include "ZepLog.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/DispatchQueue";

void DispatchQueue::post(Task task) {
    if (!task) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_tasks.push_back(std::move(task));
}

size_t DispatchQueue::runPending() {
    std::deque<Task> batch;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        batch.swap(m_tasks);
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

size_t DispatchQueue::clear() {
    std::deque<Task> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        dropped.swap(m_tasks);
    }
    // Destroyed outside the lock: a task's captures may post again.
    return dropped.size();
}

size_t DispatchQueue::size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_tasks.size();
}

}  // namespace zep
}  // namespace tessel
