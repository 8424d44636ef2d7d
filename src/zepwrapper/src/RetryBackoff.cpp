#include "RetryBackoff.h"

namespace tessel {
namespace zep {

std::chrono::seconds RetryBackoff::schedule(Clock::time_point now) {
    static const long kFirst = 2;
    static const long kLongest = 60;
    long delay = kFirst;
    for (unsigned i = 0; i < m_failures && delay < kLongest; ++i) delay *= 2;
    if (delay > kLongest) delay = kLongest;
    ++m_failures;
    m_armed = true;
    m_due = now + std::chrono::seconds(delay);
    return std::chrono::seconds(delay);
}

void RetryBackoff::reset() {
    m_armed = false;
    m_failures = 0;
}

}  // namespace zep
}  // namespace tessel
