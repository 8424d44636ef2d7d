#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

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
    // Points this process and its children at the server: DISPLAY, the X11
    // backend, and no accessibility bus.
    void exportEnvironment() const;
    // Runs openbox on the server (after exportEnvironment), as a desktop has a
    // window manager: titles, stacking and "always on top" are its business.
    bool startWindowManager(std::chrono::milliseconds timeout = std::chrono::seconds(10));

    // Helpers acting on whatever server DISPLAY names, as a user would.
    struct CommandResult {
        int status = -1;  // exit status; -1 when it could not run or timed out
        std::string out;  // standard output
    };
    static CommandResult runCommand(const std::vector<std::string>& args,
                                    std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // The id of a visible window titled exactly title (xdotool), or "".
    static std::string waitForWindow(const std::string& title,
                                     std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Focuses the window, then types keys ("alt+a", "Escape") with xdotool.
    static bool typeInto(const std::string& windowId, const std::string& keys);
    // A plain top-level window of this process (its _NET_WM_PID is ours),
    // as a browser's window is to the host it starts; its X id, or "".
    std::string openWindow(const std::string& title, int width, int height);
    // The window's client area on the screen, from the server.
    static bool screenRect(const std::string& windowId, int& x, int& y, int& width, int& height);
    // Clicks at x, y inside the window (xdotool).
    static bool clickAt(const std::string& windowId, int x, int y);
    // The window's size as the server has it; false when it is not there.
    static bool windowSize(const std::string& windowId, int& width, int& height);
    // The share (0..1) of the pixels of a rectangle of the window, as shown on
    // the screen, that are not near black; checksum, if given, gets a sum of
    // the pixels that changes when the picture moves.
    static double litShare(const std::string& windowId, int x, int y, int width, int height,
                           unsigned long* checksum = nullptr);

private:
    pid_t m_pid = -1;
    pid_t m_wmPid = -1;
    void* m_ownDisplay = nullptr;  // keeps openWindow's windows alive
    std::string m_display;
    std::string m_error;
};

}  // namespace test
}  // namespace tessel
