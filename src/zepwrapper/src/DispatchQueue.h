#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <mutex>

namespace tessel {
namespace zep {

// The framework's own work, run on the host's pumping thread. Posting is
// thread-safe; running is meant for the one pumping thread.
class DispatchQueue {
public:
    typedef std::function<void()> Task;
    typedef std::chrono::steady_clock Clock;

    void post(Task task);
    // Runs the task on the first pump at or after when: a deadline the
    // pumping thread may sleep until, never a wait of its own.
    void postAt(Clock::time_point when, Task task);

    // Runs the tasks queued before this call and the timed ones now due, in
    // order. Tasks they post wait for the next call, so one pump never loops
    // forever. An exception from a task is logged and does not stop the
    // others. Returns how many ran.
    size_t runPending();

    // How long the pumping thread may sleep before a task is due: 0 when one
    // is waiting, -1 when none is queued at all.
    long msUntilDue(Clock::time_point now) const;

    // Called, outside the queue's lock, whenever a task is posted: another
    // thread's work must not wait for the pumping thread's next round.
    void setWakeUp(std::function<void()> wake);

    // Drops everything still queued; returns how many were dropped.
    size_t clear();

    size_t size() const;

private:
    mutable std::mutex m_mutex;
    std::deque<Task> m_tasks;
    std::multimap<Clock::time_point, Task> m_timed;
    std::function<void()> m_wake;
};

}  // namespace zep
}  // namespace tessel
