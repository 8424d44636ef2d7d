#include "Xvfb.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

extern char** environ;

namespace tessel {
namespace test {

namespace {

// The descriptor number Xvfb writes its display number to.
const int kChildDisplayFd = 9;

bool waitExited(pid_t pid, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const pid_t r = waitpid(pid, nullptr, WNOHANG);
        if (r == pid || (r < 0 && errno == ECHILD)) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

}  // namespace

Xvfb::~Xvfb() {
    stop();
}

bool Xvfb::start(std::chrono::milliseconds timeout) {
    if (running()) {
        return true;
    }
    m_error.clear();
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        m_error = std::string("pipe: ") + std::strerror(errno);
        return false;
    }
    // Everything the child needs is prepared before fork: only
    // async-signal-safe calls may follow it in a threaded process.
    std::vector<std::string> args = {"Xvfb",         "-displayfd", std::to_string(kChildDisplayFd),
                                     "-noreset",     "-nolisten",  "tcp",
                                     "-screen",      "0",          "1024x768x24"};
    std::vector<char*> argv;
    for (std::string& a : args) {
        argv.push_back(&a[0]);
    }
    argv.push_back(nullptr);

    const pid_t pid = fork();
    if (pid < 0) {
        m_error = std::string("fork: ") + std::strerror(errno);
        close(fds[0]);
        close(fds[1]);
        return false;
    }
    if (pid == 0) {
        const int devnull = open("/dev/null", O_RDWR);
        if (devnull >= 0) {
            dup2(devnull, 0);
            dup2(devnull, 1);
            dup2(devnull, 2);
        }
        if (fds[1] == kChildDisplayFd) {
            fcntl(fds[1], F_SETFD, 0);
        } else {
            dup2(fds[1], kChildDisplayFd);  // dup2 clears close-on-exec
        }
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(fds[1]);
    m_pid = pid;

    std::string number;
    bool ready = false;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!ready) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            m_error = "Xvfb not ready in time";
            break;
        }
        pollfd pfd = {fds[0], POLLIN, 0};
        const int r = poll(&pfd, 1, static_cast<int>(left.count()));
        if (r < 0 && errno == EINTR) {
            continue;
        }
        if (r <= 0) {
            continue;  // the deadline check ends the loop
        }
        char buf[32];
        const ssize_t n = read(fds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            m_error = "Xvfb exited before it was ready (is it installed?)";
            break;
        }
        number.append(buf, static_cast<size_t>(n));
        ready = number.find('\n') != std::string::npos;
    }
    close(fds[0]);
    if (!ready) {
        stop();
        return false;
    }
    number.erase(number.find('\n'));
    m_display = ":" + number;
    return true;
}

void Xvfb::stop() {
    if (m_pid <= 0) {
        return;
    }
    kill(m_pid, SIGTERM);
    if (!waitExited(m_pid, std::chrono::seconds(5))) {
        kill(m_pid, SIGKILL);
        waitExited(m_pid, std::chrono::seconds(5));
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

Xvfb::CommandResult Xvfb::runCommand(const std::vector<std::string>& args, std::chrono::milliseconds timeout) {
    CommandResult result;
    if (args.empty()) {
        return result;
    }
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        return result;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    std::vector<std::string> copy = args;
    std::vector<char*> argv;
    for (std::string& a : copy) {
        argv.push_back(&a[0]);
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    if (rc != 0) {
        close(fds[0]);
        return result;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    bool timedOut = false;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        pollfd pfd = {fds[0], POLLIN, 0};
        if (poll(&pfd, 1, static_cast<int>(left.count())) <= 0) {
            continue;  // EINTR or time up: the deadline check decides
        }
        char buf[512];
        const ssize_t n = read(fds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        result.out.append(buf, static_cast<size_t>(n));
    }
    close(fds[0]);
    if (timedOut) {
        kill(pid, SIGKILL);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = (!timedOut && WIFEXITED(status)) ? WEXITSTATUS(status) : -1;
    return result;
}

std::string Xvfb::waitForWindow(const std::string& title, std::chrono::milliseconds timeout) {
    // xdotool matches names as extended regular expressions; titles such as
    // "Allow ...?" must match literally.
    std::string pattern;
    for (char c : title) {
        if (std::strchr("\\^$.|?*+()[]{}", c) != nullptr) {
            pattern += '\\';
        }
        pattern += c;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        const CommandResult r = runCommand({"xdotool", "search", "--onlyvisible", "--name", "^" + pattern + "$"});
        if (r.status == 0 && !r.out.empty()) {
            return r.out.substr(0, r.out.find('\n'));
        }
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
