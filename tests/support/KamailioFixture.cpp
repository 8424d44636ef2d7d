#include "KamailioFixture.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include "HostProcess.h"

namespace tessel {
namespace test {

namespace {

const char* const kBinary = "/usr/sbin/kamailio";

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
    sockaddr_in addr = loopback(port);
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int boundPort(int fd) {
    sockaddr_in addr{};
    socklen_t len = sizeof addr;
    return getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0 ? ntohs(addr.sin_port) : 0;
}

// A port free for both UDP and TCP on 127.0.0.1 at the time of the call, or 0.
int pickFreeSipPort() {
    for (int attempt = 0; attempt < 20; ++attempt) {
        const int udp = bindLoopback(SOCK_DGRAM, 0);
        if (udp < 0) return 0;
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

bool tcpAccepts(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr = loopback(port);
    const bool ok = fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    if (fd >= 0) close(fd);
    return ok;
}

// Sends an OPTIONS ping over UDP; true when a 200 comes back in time.
bool udpAnswers(int port, std::chrono::milliseconds wait) {
    const int fd = bindLoopback(SOCK_DGRAM, 0);
    if (fd < 0) return false;
    static int sequence = 0;
    const std::string callId = "probe-" + std::to_string(getpid()) + "-" + std::to_string(++sequence);
    std::ostringstream msg;
    msg << "OPTIONS sip:127.0.0.1:" << port << " SIP/2.0\r\n"
        << "Via: SIP/2.0/UDP 127.0.0.1:" << boundPort(fd) << ";branch=z9hG4bK-" << callId << ";rport\r\n"
        << "Max-Forwards: 70\r\nFrom: <sip:probe@127.0.0.1>;tag=" << callId << "\r\n"
        << "To: <sip:127.0.0.1:" << port << ">\r\nCall-ID: " << callId << "\r\n"
        << "CSeq: 1 OPTIONS\r\nContent-Length: 0\r\n\r\n";
    const std::string text = msg.str();
    sockaddr_in to = loopback(port);
    bool ok = false;
    pollfd pfd = {fd, POLLIN, 0};
    if (sendto(fd, text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) ==
            static_cast<ssize_t>(text.size()) &&
        poll(&pfd, 1, static_cast<int>(wait.count())) > 0) {
        char buf[2048];
        const ssize_t n = recv(fd, buf, sizeof buf, 0);
        ok = n > 0 && std::string(buf, static_cast<size_t>(n)).rfind("SIP/2.0 200", 0) == 0;
    }
    close(fd);
    return ok;
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

}  // namespace

KamailioFixture::KamailioFixture()
    : m_pDir(new pelatest::TempDir()),
      m_users{{"alice", "alice-secret"}, {"bob", "bob-secret"}, {"carol", "carol-secret"}} {}

KamailioFixture::~KamailioFixture() {
    stop();
}

std::string KamailioFixture::password(const std::string& name) const {
    auto it = m_users.find(name);
    return it == m_users.end() ? "" : it->second;
}

std::string KamailioFixture::logText() const {
    return pelatest::readFile(m_pDir->path() + "/kamailio.log");
}

void KamailioFixture::enableTls(const std::string& chainPem, const std::string& keyPem) {
    m_tls = true;
    const std::string dir = m_pDir->path();
    std::ofstream(dir + "/tls-chain.pem", std::ios::trunc) << chainPem;
    // A test key, but a key: readable by us only.
    const int fd = open((dir + "/tls-key.pem").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd >= 0) {
        const ssize_t n = write(fd, keyPem.data(), keyPem.size());
        (void)n;
        close(fd);
    }
}

bool KamailioFixture::start(std::chrono::milliseconds timeout) {
    if (running()) return true;
    if (access(kBinary, X_OK) != 0) {
        m_error = std::string(kBinary) + " is missing: install the kamailio package (scripts/packages.txt)";
        return false;
    }
    const std::string dir = m_pDir->path();
    const std::string templatePath = std::string(PELA_SOURCE_DIR) + "/tests/sip/kamailio.cfg";
    const std::string config = pelatest::readFile(templatePath);
    if (config.empty()) {
        m_error = "cannot read " + templatePath;
        return false;
    }
    std::string users;
    for (const auto& u : m_users) users += "$sht(users=>" + u.first + ") = \"" + u.second + "\";\n";
    std::ofstream(dir + "/users.cfg", std::ios::trunc) << users;
    // Another process may take the port between picking and binding: try anew.
    for (int attempt = 0; attempt < 3; ++attempt) {
        m_port = pickFreeSipPort();
        if (m_port == 0) {
            m_error = "no free port on 127.0.0.1";
            return false;
        }
        if (m_tls) {
            // Another port for TLS, free for TCP and not the SIP port.
            do {
                const int fd = bindLoopback(SOCK_STREAM, 0);
                m_tlsPort = fd >= 0 ? boundPort(fd) : 0;
                if (fd >= 0) close(fd);
            } while (m_tlsPort == m_port);
            if (m_tlsPort == 0) {
                m_error = "no free TLS port on 127.0.0.1";
                return false;
            }
        }
        std::string text = config;
        replaceAll(text, "@SIP_PORT@", std::to_string(m_port));
        replaceAll(text, "@TLS_PORT@", std::to_string(m_tlsPort));
        replaceAll(text, "@TLS_CERTIFICATE@", dir + "/tls-chain.pem");
        replaceAll(text, "@TLS_PRIVATE_KEY@", dir + "/tls-key.pem");
        replaceAll(text, "@DOMAIN@", m_domain);
        replaceAll(text, "@USERS_FILE@", dir + "/users.cfg");
        replaceAll(text, "@EPHEMERAL_SECRET@", m_ephemeralSecret);
        replaceAll(text, "@REALM@", m_realm.empty() ? m_domain : m_realm);
        std::ofstream(dir + "/kamailio.cfg", std::ios::trunc) << text;
        if (launch(timeout)) return true;
    }
    return false;
}

bool KamailioFixture::restart(std::chrono::milliseconds timeout) {
    stop();
    return m_port == 0 ? start(timeout) : launch(timeout);
}

bool KamailioFixture::launch(std::chrono::milliseconds timeout) {
    m_error.clear();
    const std::string dir = m_pDir->path();
    const int logFd = open((dir + "/kamailio.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const int nullFd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    // Foreground (-DD), logging to standard error (-E); the pid file, working
    // and runtime folders all in our private folder. Small memory pools: the
    // tests start many of these. Its own process group, so its workers can be
    // ended with it.
    if (logFd >= 0 && nullFd >= 0) {
        std::vector<std::string> args = {
            kBinary, "-DD", "-E", "-f", dir + "/kamailio.cfg", "-P", dir + "/kamailio.pid", "-w", dir, "-Y", dir,
            "-m",    "32",  "-M", "4"};
        if (!m_ephemeralSecret.empty()) {
            args.push_back("-A");
            args.push_back("WITH_EPHEMERAL");
        }
        if (m_tls) {
            args.push_back("-A");
            args.push_back("WITH_TLS");
        }
        if (m_glare) {
            args.push_back("-A");
            args.push_back("WITH_GLARE");
        }
        m_pid = pelatest::spawn(args, pelatest::childEnv({}, {}), nullFd, logFd, logFd, true);
    }
    if (logFd >= 0) close(logFd);
    if (nullFd >= 0) close(nullFd);
    if (m_pid < 0) {
        m_error = "cannot run " + std::string(kBinary);
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            m_error =
                "kamailio exited before it was ready (status " + std::to_string(status) + "); its log:\n" + logText();
            return false;
        }
        if (tcpAccepts(m_port) && (!m_tls || tcpAccepts(m_tlsPort)) &&
            udpAnswers(m_port, std::chrono::milliseconds(200))) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    m_error = "kamailio not ready within the time allowed; its log:\n" + logText();
    stop();
    return false;
}

void KamailioFixture::stop() {
    if (m_pid <= 0) return;
    const pid_t group = m_pid;
    kill(m_pid, SIGTERM);
    if (!pelatest::reaped(m_pid, std::chrono::seconds(5))) {
        kill(-group, SIGKILL);
        pelatest::reaped(m_pid, std::chrono::seconds(5));
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
