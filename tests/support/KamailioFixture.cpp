#include "KamailioFixture.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include "HostProcess.h"  // pelatest::TempDir

namespace tessel {
namespace test {

namespace {

const char* const kBinary = "/usr/sbin/kamailio";
const int kStartAttempts = 3;

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

sockaddr_in loopback(int port) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<uint16_t>(port));
    return addr;
}

// A bound socket of the given type on 127.0.0.1:port (0: any), or -1.
int bindLoopback(int type, int port) {
    const int fd = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    sockaddr_in addr = loopback(port);
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int boundPort(int fd) {
    sockaddr_in addr{};
    socklen_t len = sizeof addr;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
        return 0;
    }
    return ntohs(addr.sin_port);
}

bool tcpAccepts(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    sockaddr_in addr = loopback(port);
    const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    close(fd);
    return ok;
}

// Sends an OPTIONS ping over UDP; true when a 200 comes back in time.
bool udpAnswers(int port, std::chrono::milliseconds wait) {
    const int fd = bindLoopback(SOCK_DGRAM, 0);
    if (fd < 0) {
        return false;
    }
    const int local = boundPort(fd);
    static int sequence = 0;
    const std::string callId = "probe-" + std::to_string(getpid()) + "-" + std::to_string(++sequence);
    std::ostringstream msg;
    msg << "OPTIONS sip:127.0.0.1:" << port << " SIP/2.0\r\n"
        << "Via: SIP/2.0/UDP 127.0.0.1:" << local << ";branch=z9hG4bK-" << callId << ";rport\r\n"
        << "Max-Forwards: 70\r\n"
        << "From: <sip:probe@127.0.0.1>;tag=" << callId << "\r\n"
        << "To: <sip:127.0.0.1:" << port << ">\r\n"
        << "Call-ID: " << callId << "\r\n"
        << "CSeq: 1 OPTIONS\r\n"
        << "Content-Length: 0\r\n\r\n";
    const std::string text = msg.str();
    sockaddr_in to = loopback(port);
    bool ok = false;
    if (sendto(fd, text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) ==
        static_cast<ssize_t>(text.size())) {
        pollfd pfd = {fd, POLLIN, 0};
        if (poll(&pfd, 1, static_cast<int>(wait.count())) > 0) {
            char buf[2048];
            const ssize_t n = recv(fd, buf, sizeof buf - 1, 0);
            ok = n > 0 && std::string(buf, static_cast<size_t>(n)).rfind("SIP/2.0 200", 0) == 0;
        }
    }
    close(fd);
    return ok;
}

bool reaped(pid_t pid, std::chrono::milliseconds timeout) {
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

int pickFreeSipPort() {
    for (int attempt = 0; attempt < 20; ++attempt) {
        const int udp = bindLoopback(SOCK_DGRAM, 0);
        if (udp < 0) {
            return 0;
        }
        const int port = boundPort(udp);
        const int tcp = bindLoopback(SOCK_STREAM, port);
        close(udp);
        if (tcp >= 0) {
            close(tcp);
            return port;
        }
    }
    return 0;
}

KamailioFixture::KamailioFixture()
    : m_pDir(new pelatest::TempDir()),
      m_users{{"alice", "alice-secret"}, {"bob", "bob-secret"}, {"carol", "carol-secret"}} {}

KamailioFixture::~KamailioFixture() {
    stop();
}

const char* KamailioFixture::binary() {
    return kBinary;
}

const std::string& KamailioFixture::folder() const {
    return m_pDir->path();
}

std::string KamailioFixture::hostPort() const {
    return m_host + ":" + std::to_string(m_port);
}

std::string KamailioFixture::serverUri(const std::string& transport) const {
    return "sip:" + hostPort() + ";transport=" + transport;
}

std::string KamailioFixture::userUri(const std::string& name) const {
    return "sip:" + name + "@" + m_domain;
}

std::string KamailioFixture::password(const std::string& name) const {
    for (const User& u : m_users) {
        if (u.name == name) {
            return u.password;
        }
    }
    return "";
}

std::string KamailioFixture::logText() const {
    return readFile(folder() + "/kamailio.log");
}

bool KamailioFixture::writeConfig() {
    const std::string templatePath = std::string(PELA_SOURCE_DIR) + "/tests/sip/kamailio.cfg";
    std::string config = readFile(templatePath);
    if (config.empty()) {
        m_error = "cannot read " + templatePath;
        return false;
    }
    const std::string usersPath = folder() + "/users.cfg";
    std::ofstream users(usersPath, std::ios::trunc);
    for (const User& u : m_users) {
        users << "$sht(users=>" << u.name << ") = \"" << u.password << "\";\n";
    }
    users.close();
    replaceAll(config, "@SIP_PORT@", std::to_string(m_port));
    replaceAll(config, "@DOMAIN@", m_domain);
    replaceAll(config, "@USERS_FILE@", usersPath);
    std::ofstream out(folder() + "/kamailio.cfg", std::ios::trunc);
    out << config;
    out.close();
    if (!users || !out) {
        m_error = "cannot write the configuration into " + folder();
        return false;
    }
    return true;
}

bool KamailioFixture::start(std::chrono::milliseconds timeout) {
    if (running()) {
        return true;
    }
    if (access(kBinary, X_OK) != 0) {
        m_error = std::string(kBinary) + " is missing: install the kamailio package (scripts/packages.txt)";
        return false;
    }
    // Another process may take the port between picking and binding: try anew.
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        m_port = pickFreeSipPort();
        if (m_port == 0) {
            m_error = "no free port on 127.0.0.1";
            return false;
        }
        if (!writeConfig()) {
            return false;
        }
        if (launch(timeout)) {
            return true;
        }
    }
    return false;
}

bool KamailioFixture::restart(std::chrono::milliseconds timeout) {
    stop();
    if (m_port == 0) {
        return start(timeout);
    }
    return launch(timeout);
}

bool KamailioFixture::launch(std::chrono::milliseconds timeout) {
    m_error.clear();
    const std::string dir = folder();
    const std::string logPath = dir + "/kamailio.log";
    const int logFd = open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const int nullFd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (logFd < 0 || nullFd < 0) {
        m_error = "cannot open " + logPath;
        if (logFd >= 0) {
            close(logFd);
        }
        if (nullFd >= 0) {
            close(nullFd);
        }
        return false;
    }
    // Foreground (-DD), logging to standard error (-E); the pid file, working
    // and runtime folders all in our private folder. Small memory pools: the
    // tests start many of these.
    std::vector<std::string> args = {
        kBinary, "-DD", "-E", "-f", dir + "/kamailio.cfg", "-P", dir + "/kamailio.pid", "-w", dir, "-Y", dir,
        "-m",    "32",  "-M", "4"};
    std::vector<char*> argv;
    for (std::string& a : args) {
        argv.push_back(&a[0]);
    }
    argv.push_back(nullptr);

    const pid_t pid = fork();
    if (pid < 0) {
        m_error = std::string("fork: ") + std::strerror(errno);
        close(logFd);
        close(nullFd);
        return false;
    }
    if (pid == 0) {
        // Its own process group, so its workers can be ended with it.
        setpgid(0, 0);
        dup2(nullFd, 0);
        dup2(logFd, 1);
        dup2(logFd, 2);
        execv(argv[0], argv.data());
        _exit(127);
    }
    setpgid(pid, pid);
    close(logFd);
    close(nullFd);
    m_pid = pid;
    if (!waitReady(std::chrono::steady_clock::now() + timeout)) {
        stop();
        return false;
    }
    return true;
}

bool KamailioFixture::waitReady(std::chrono::steady_clock::time_point deadline) {
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            std::ostringstream why;
            why << "kamailio exited before it was ready (";
            if (WIFEXITED(status)) {
                why << "status " << WEXITSTATUS(status);
            } else {
                why << "signal " << WTERMSIG(status);
            }
            why << "); its log:\n" << logText();
            m_error = why.str();
            return false;
        }
        if (tcpAccepts(m_port) && udpAnswers(m_port, std::chrono::milliseconds(200))) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    m_error = "kamailio not ready within the time allowed; its log:\n" + logText();
    return false;
}

void KamailioFixture::stop() {
    if (m_pid <= 0) {
        return;
    }
    const pid_t group = m_pid;
    kill(m_pid, SIGTERM);
    if (!reaped(m_pid, std::chrono::seconds(5))) {
        kill(-group, SIGKILL);
        reaped(m_pid, std::chrono::seconds(5));
    }
    m_pid = -1;
    // Workers that outlived the main process go too.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (kill(-group, 0) == 0 && std::chrono::steady_clock::now() < deadline) {
        kill(-group, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

}  // namespace test
}  // namespace tessel
