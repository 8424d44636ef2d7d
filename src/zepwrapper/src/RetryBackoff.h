#pragma once

#include <chrono>

namespace tessel {
namespace zep {

// When to try the registrar again after it could not be reached: 2 s, then
// doubling up to a minute. Only a deadline; the owner checks it on the pump.
class RetryBackoff {
public:
    typedef std::chrono::steady_clock Clock;

    // Arms the next attempt and returns its delay.
    std::chrono::seconds schedule(Clock::time_point now);
    bool armed() const { return m_armed; }
    bool due(Clock::time_point now) const { return m_armed && now >= m_due; }
    Clock::time_point dueAt() const { return m_due; }
    // The attempt is being made; the delay keeps growing until reset().
    void disarm() { m_armed = false; }
    // Reached the server: the next failure starts from the shortest delay.
    void reset();

private:
    bool m_armed = false;
    unsigned m_failures = 0;
    Clock::time_point m_due;
};

}  // namespace zep
}  // namespace tessel
