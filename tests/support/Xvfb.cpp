#include "Xvfb.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include <sys/wait.h>

#include "HostProcess.h"

// Last: Xlib defines short macro names (None, Status, Bool).
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

extern char** environ;

namespace tessel {
namespace test {

namespace {

using Clock = std::chrono::steady_clock;

// The descriptor number Xvfb writes its display number to.
const int kChildDisplayFd = 9;

// Runs args with descriptor childFd (and, when quiet, nothing else) on a pipe
// whose read end lands in readFd; -1 when it could not start.
pid_t spawn(std::vector<std::string> args, int childFd, bool quiet, int& readFd) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return -1;
    if (fds[1] == childFd) {  // dup2 onto itself would keep close-on-exec
        const int moved = fcntl(fds[1], F_DUPFD_CLOEXEC, childFd + 1);
        close(fds[1]);
        fds[1] = moved;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int fd = 0; quiet && fd <= 2; ++fd) posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, fds[1], childFd);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    if (rc != 0) {
        close(fds[0]);
        return -1;
    }
    readFd = fds[0];
    return pid;
}

// Reads fd into out until end of file (true), a line feed when untilLine
// (true), or the deadline (false); closes fd.
bool readUntil(int fd, std::string& out, Clock::time_point deadline, bool untilLine) {
    bool done = false;
    while (!done && Clock::now() < deadline) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd pfd = {fd, POLLIN, 0};
        if (poll(&pfd, 1, static_cast<int>(left.count()) + 1) <= 0) continue;  // EINTR or time up
        char buf[512];
        const ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        done = n <= 0;
        out.append(buf, n > 0 ? static_cast<size_t>(n) : 0);
        done = done || (untilLine && out.find('\n') != std::string::npos);
    }
    close(fd);
    return done;
}

}  // namespace

Xvfb::~Xvfb() {
    stop();
}

bool Xvfb::start(std::chrono::milliseconds timeout) {
    if (running()) return true;
    int fd = -1;
    m_pid = spawn({"Xvfb", "-displayfd", std::to_string(kChildDisplayFd), "-noreset", "-nolisten", "tcp", "-screen",
                   "0", "1024x768x24"},
                  kChildDisplayFd, true, fd);
    if (m_pid < 0) {
        m_error = "cannot start Xvfb (is it installed?)";
        return false;
    }
    std::string number;
    readUntil(fd, number, Clock::now() + timeout, true);
    if (number.find('\n') == std::string::npos) {
        m_error = "Xvfb not ready in time, or it exited first (is it installed?)";
        stop();
        return false;
    }
    m_display = ":" + number.substr(0, number.find('\n'));
    m_error.clear();
    return true;
}

void Xvfb::stop() {
    if (m_ownDisplay != nullptr) {
        XCloseDisplay(static_cast<Display*>(m_ownDisplay));
        m_ownDisplay = nullptr;
    }
    if (m_wmPid > 0) {
        kill(m_wmPid, SIGTERM);
        if (!pelatest::reaped(m_wmPid, std::chrono::seconds(5))) kill(m_wmPid, SIGKILL);
        pelatest::reaped(m_wmPid, std::chrono::seconds(2));
        m_wmPid = -1;
    }
    if (m_pid <= 0) return;
    kill(m_pid, SIGTERM);
    if (!pelatest::reaped(m_pid, std::chrono::seconds(5))) {
        kill(m_pid, SIGKILL);
        pelatest::reaped(m_pid, std::chrono::seconds(5));
    }
    m_pid = -1;
    m_display.clear();
}

void Xvfb::exportEnvironment() const {
    setenv("DISPLAY", m_display.c_str(), 1);
    setenv("GDK_BACKEND", "x11", 1);
    setenv("NO_AT_BRIDGE", "1", 1);
    unsetenv("WAYLAND_DISPLAY");
}

bool Xvfb::startWindowManager(std::chrono::milliseconds timeout) {
    int fd = -1;
    // Quiet: its messages would fill a pipe nobody reads.
    m_wmPid = spawn({"openbox", "--sm-disable"}, kChildDisplayFd, true, fd);
    if (m_wmPid < 0) {
        m_error = "cannot start openbox (is it installed?)";
        return false;
    }
    if (fd >= 0) close(fd);
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
        const CommandResult r = runCommand({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"});
        if (r.status == 0 && r.out.find("window id") != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    m_error = "openbox did not take over the screen in time";
    return false;
}

bool Xvfb::clickAt(const std::string& windowId, int x, int y) {
    return runCommand(
               {"xdotool", "mousemove", "--window", windowId, std::to_string(x), std::to_string(y), "click", "1"})
               .status == 0;
}

std::string Xvfb::openWindow(const std::string& title, int width, int height) {
    if (m_ownDisplay == nullptr) m_ownDisplay = XOpenDisplay(m_display.c_str());
    auto* display = static_cast<Display*>(m_ownDisplay);
    if (display == nullptr) return "";
    const Window w = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, width, height, 0, 0,
                                         WhitePixel(display, DefaultScreen(display)));
    XStoreName(display, w, title.c_str());
    const long pid = getpid();
    XChangeProperty(display, w, XInternAtom(display, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&pid), 1);
    XMapWindow(display, w);
    XSync(display, False);
    return waitForWindow(title);
}

bool Xvfb::screenRect(const std::string& windowId, int& x, int& y, int& width, int& height) {
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) return false;
    const Window w = std::strtoul(windowId.c_str(), nullptr, 0);
    XWindowAttributes attributes;
    Window child = 0;
    const bool ok = XGetWindowAttributes(display, w, &attributes) != 0 &&
                    XTranslateCoordinates(display, w, DefaultRootWindow(display), 0, 0, &x, &y, &child);
    width = attributes.width;
    height = attributes.height;
    XCloseDisplay(display);
    return ok;
}

bool Xvfb::windowSize(const std::string& windowId, int& width, int& height) {
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) return false;
    XWindowAttributes attributes;
    const bool ok = XGetWindowAttributes(display, std::strtoul(windowId.c_str(), nullptr, 0), &attributes) != 0;
    if (ok) {
        width = attributes.width;
        height = attributes.height;
    }
    XCloseDisplay(display);
    return ok;
}

double Xvfb::litShare(const std::string& windowId, int x, int y, int width, int height, unsigned long* checksum) {
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) return 0;
    // From the screen, where the window is: what the user sees, children drawn
    // by other connections (the engine's) included.
    int rootX = 0;
    int rootY = 0;
    Window child = 0;
    const Window root = DefaultRootWindow(display);
    XTranslateCoordinates(display, std::strtoul(windowId.c_str(), nullptr, 0), root, x, y, &rootX, &rootY, &child);
    XImage* image = XGetImage(display, root, rootX, rootY, width, height, AllPlanes, ZPixmap);
    double share = 0;
    if (image != nullptr) {
        long lit = 0;
        unsigned long sum = 0;
        for (int j = 0; j < height; ++j) {
            for (int i = 0; i < width; ++i) {
                const unsigned long p = XGetPixel(image, i, j);
                sum = sum * 31 + p;
                if (((p >> 16) & 0xff) + ((p >> 8) & 0xff) + (p & 0xff) > 24) ++lit;
            }
        }
        share = static_cast<double>(lit) / (static_cast<double>(width) * height);
        if (checksum != nullptr) *checksum = sum;
        XDestroyImage(image);
    }
    XCloseDisplay(display);
    return share;
}

Xvfb::CommandResult Xvfb::runCommand(const std::vector<std::string>& args, std::chrono::milliseconds timeout) {
    CommandResult result;
    int fd = -1;
    const pid_t pid = args.empty() ? -1 : spawn(args, 1, false, fd);
    if (pid < 0) return result;
    const bool finished = readUntil(fd, result.out, Clock::now() + timeout, false);
    if (!finished) kill(pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = (finished && WIFEXITED(status)) ? WEXITSTATUS(status) : -1;
    return result;
}

std::string Xvfb::waitForWindow(const std::string& title, std::chrono::milliseconds timeout) {
    // xdotool matches names as extended regular expressions; titles such as
    // "Allow ...?" must match literally.
    std::string pattern;
    for (char c : title) {
        pattern += std::strchr("\\^$.|?*+()[]{}", c) != nullptr ? std::string("\\") + c : std::string(1, c);
    }
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
        const CommandResult r = runCommand({"xdotool", "search", "--onlyvisible", "--name", "^" + pattern + "$"});
        if (r.status == 0 && !r.out.empty()) return r.out.substr(0, r.out.find('\n'));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return std::string();
}

// Without a window manager, focusing is a plain XSetInputFocus; the keys then
// go through XTEST like real ones.
bool Xvfb::typeInto(const std::string& windowId, const std::string& keys) {
    return runCommand({"xdotool", "windowfocus", "--sync", windowId}).status == 0 &&
           runCommand({"xdotool", "key", "--clearmodifiers", keys}).status == 0;
}

}  // namespace test
}  // namespace tessel
