#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

namespace tessel {
namespace test {

// A private X server for GUI tests. Xvfb picks a free display number itself
// (-displayfd) and tells us once it accepts connections.
class Xvfb {
public:
    Xvfb() = default;
    ~Xvfb();
    Xvfb(const Xvfb&) = delete;
    Xvfb& operator=(const Xvfb&) = delete;

    // false (see error()) when Xvfb is missing, fails or is not ready in time.
    bool start(std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // SIGTERM, then SIGKILL if it lingers; waits for it either way.
    void stop();

    bool running() const { return m_pid > 0; }
    // ":N" once started.
    const std::string& display() const { return m_display; }
    const std::string& error() const { return m_error; }

private:
    pid_t m_pid = -1;
    std::string m_display;
    std::string m_error;
};

}  // namespace test
}  // namespace tessel
