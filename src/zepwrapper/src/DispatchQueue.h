#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace tessel {
namespace zep {

// The framework's own work, run on the host's pumping thread. Posting is
// thread-safe; running is meant for the one pumping thread.
class DispatchQueue {
public:
    typedef std::function<void()> Task;

    void post(Task task);

    // Runs the tasks queued before this call, in order. Tasks they post wait
    // for the next call, so one pump never loops forever. An exception from a
    // task is logged and does not stop the others. Returns how many ran.
    size_t runPending();

    // Drops everything still queued; returns how many were dropped.
    size_t clear();

    size_t size() const;

private:
    mutable std::mutex m_mutex;
    std::deque<Task> m_tasks;
};

}  // namespace zep
}  // namespace tessel
