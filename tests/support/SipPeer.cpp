#include "SipPeer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "HostProcess.h"  // pelatest::TempDir
#include "KamailioFixture.h"

extern char** environ;

namespace tessel {
namespace test {

namespace {

const size_t kMaxLine = 64 * 1024;

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

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.compare(0, prefix.size(), prefix) == 0;
}

void putLe(std::string& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xff));
    }
}

uint32_t getLe(const std::string& in, size_t at, int bytes) {
    uint32_t v = 0;
    for (int i = 0; i < bytes; ++i) {
        v |= static_cast<uint32_t>(static_cast<unsigned char>(in[at + static_cast<size_t>(i)])) << (8 * i);
    }
    return v;
}

}  // namespace

bool writeToneWav(const std::string& path, double hz, double seconds, int sampleRate) {
    const uint32_t frames = static_cast<uint32_t>(seconds * sampleRate);
    std::string data;
    data.reserve(frames * 2);
    const double twoPi = 2.0 * M_PI;
    for (uint32_t i = 0; i < frames; ++i) {
        const double v = 16383.0 * std::sin(twoPi * hz * i / sampleRate);
        putLe(data, static_cast<uint32_t>(static_cast<int16_t>(std::lround(v))) & 0xffff, 2);
    }
    std::string wav = "RIFF";
    putLe(wav, static_cast<uint32_t>(36 + data.size()), 4);
    wav += "WAVEfmt ";
    putLe(wav, 16, 4);                                     // fmt chunk size
    putLe(wav, 1, 2);                                      // PCM
    putLe(wav, 1, 2);                                      // mono
    putLe(wav, static_cast<uint32_t>(sampleRate), 4);      // frames per second
    putLe(wav, static_cast<uint32_t>(sampleRate * 2), 4);  // bytes per second
    putLe(wav, 2, 2);                                      // bytes per frame
    putLe(wav, 16, 2);                                     // bits per sample
    wav += "data";
    putLe(wav, static_cast<uint32_t>(data.size()), 4);
    wav += data;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(wav.data(), static_cast<std::streamsize>(wav.size()));
    return static_cast<bool>(out);
}

double toneShare(const std::string& path, double hz, double seconds) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream buf;
    buf << in.rdbuf();
    const std::string wav = buf.str();
    if (wav.size() < 12 || wav.compare(0, 4, "RIFF") != 0 || wav.compare(8, 4, "WAVE") != 0) {
        return -1;
    }
    uint32_t channels = 0;
    uint32_t rate = 0;
    uint32_t bits = 0;
    size_t dataAt = 0;
    size_t dataSize = 0;
    for (size_t at = 12; at + 8 <= wav.size();) {
        const std::string id = wav.substr(at, 4);
        const size_t size = getLe(wav, at + 4, 4);
        if (id == "fmt " && at + 8 + 16 <= wav.size()) {
            channels = getLe(wav, at + 10, 2);
            rate = getLe(wav, at + 12, 4);
            bits = getLe(wav, at + 22, 2);
        } else if (id == "data") {
            dataAt = at + 8;
            // A recorder that was not closed cleanly leaves the size unset.
            dataSize = (size == 0 || dataAt + size > wav.size()) ? wav.size() - dataAt : size;
            break;
        }
        at += 8 + size + (size & 1);
    }
    if (dataAt == 0 || channels == 0 || rate == 0 || bits != 16) {
        return -1;
    }
    const size_t frameBytes = 2 * channels;
    const size_t frames = std::min(dataSize / frameBytes, static_cast<size_t>(seconds * rate));
    if (frames == 0) {
        return 0;
    }
    // Goertzel on the first channel, over short blocks whose powers are
    // summed: a received tone is not phase-continuous across packets.
    const size_t block = std::max<size_t>(rate / 10, 1);
    const double k = 2.0 * std::cos(2.0 * M_PI * hz / rate);
    double tone = 0;
    double energy = 0;
    for (size_t start = 0; start + block <= frames; start += block) {
        double s1 = 0;
        double s2 = 0;
        for (size_t i = start; i < start + block; ++i) {
            const double x = static_cast<int16_t>(getLe(wav, dataAt + i * frameBytes, 2));
            const double s0 = x + k * s1 - s2;
            s2 = s1;
            s1 = s0;
            energy += x * x;
        }
        tone += 2.0 * (s1 * s1 + s2 * s2 - k * s1 * s2) / static_cast<double>(block);
    }
    return energy > 0 ? tone / energy : 0;
}

SipPeer::SipPeer(const Options& options) : m_options(options), m_pDir(new pelatest::TempDir()) {}

SipPeer::SipPeer() : SipPeer(Options()) {}

SipPeer::~SipPeer() {
    stop();
}

const std::string& SipPeer::folder() const {
    return m_pDir->path();
}

std::string SipPeer::playFile() const {
    return m_pDir->path() + "/tone.wav";
}

std::string SipPeer::recordFile() const {
    return m_pDir->path() + "/heard.wav";
}

std::string SipPeer::logText() const {
    std::ifstream in(m_pDir->path() + "/peer.log", std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

bool SipPeer::start(std::chrono::milliseconds timeout) {
    if (running()) {
        return true;
    }
    m_error.clear();
    const std::string home = m_pDir->path();
    if (!writeToneWav(playFile(), m_options.toneHz, 20.0)) {
        m_error = "cannot write " + playFile();
        return false;
    }
    // A private home and runtime folder: the audio layer creates folders there.
    const std::string run = home + "/run";
    mkdir(run.c_str(), 0700);

    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string entry(*e);
        const std::string key = entry.substr(0, entry.find('='));
        if (key == "HOME" || key.rfind("XDG_", 0) == 0 || key == "PULSE_SERVER" || key == "TSAN_OPTIONS") {
            continue;
        }
        env.push_back(entry);
    }
    // Under TSan the peer gets its own suppressions: the engine's libraries
    // are not instrumented (see the file).
    std::string tsan = "suppressions=" + std::string(PELA_SOURCE_DIR) + "/tests/sip/sippeer.tsan.supp";
    if (const char* given = getenv("TSAN_OPTIONS")) {
        std::istringstream in(given);
        std::string option;
        while (std::getline(in, option, ':')) {
            if (!option.empty() && option.rfind("suppressions=", 0) != 0) {
                tsan += ":" + option;
            }
        }
    }
    env.push_back("TSAN_OPTIONS=" + tsan);
    env.push_back("HOME=" + home);
    env.push_back("XDG_RUNTIME_DIR=" + run);
    env.push_back("XDG_CONFIG_HOME=" + home + "/config");
    env.push_back("XDG_DATA_HOME=" + home + "/data");
    env.push_back("XDG_CACHE_HOME=" + home + "/cache");
    std::vector<std::string> args = {
        std::string(PELA_BIN_DIR) + "/pela_sippeer", "--dir", home, "--play", playFile(), "--record", recordFile()};
    if (m_options.autoAnswer) {
        args.push_back("--auto-answer");
    }
    args.push_back("--pace-ms");
    args.push_back(std::to_string(m_options.paceMs));
    std::vector<char*> argv;
    for (std::string& a : args) {
        argv.push_back(&a[0]);
    }
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (std::string& e : env) {
        envp.push_back(&e[0]);
    }
    envp.push_back(nullptr);

    // One socket pair serves as the peer's standard input and output; send()
    // with MSG_NOSIGNAL spares us SIGPIPE if the peer dies.
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
        m_error = std::string("socketpair: ") + std::strerror(errno);
        return false;
    }
    const std::string logPath = home + "/peer.log";
    const int logFd = open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (logFd < 0) {
        m_error = "cannot open " + logPath;
        close(fds[0]);
        close(fds[1]);
        return false;
    }
    const pid_t pid = fork();
    if (pid < 0) {
        m_error = std::string("fork: ") + std::strerror(errno);
        close(fds[0]);
        close(fds[1]);
        close(logFd);
        return false;
    }
    if (pid == 0) {
        dup2(fds[1], 0);
        dup2(fds[1], 1);
        dup2(logFd, 2);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(fds[1]);
    close(logFd);
    m_pid = pid;
    m_eof = false;
    m_toPeer = fds[0];
    m_fromPeer = fds[0];

    std::string line;
    if (!waitEvent("ready ", timeout, 0, &line)) {
        m_error = "peer " + m_options.name + " not ready: " + m_error + "\n" + logText();
        stop();
        return false;
    }
    std::istringstream in(line);
    std::string word;
    in >> word >> word >> m_udpPort >> m_tcpPort;
    return true;
}

void SipPeer::stop() {
    if (m_pid <= 0) {
        return;
    }
    const char quit[] = "quit\n";
    send(m_toPeer, quit, sizeof quit - 1, MSG_NOSIGNAL);
    shutdown(m_toPeer, SHUT_WR);
    if (!reaped(m_pid, std::chrono::seconds(5))) {
        kill(m_pid, SIGTERM);
        if (!reaped(m_pid, std::chrono::seconds(3))) {
            kill(m_pid, SIGKILL);
            reaped(m_pid, std::chrono::seconds(3));
        }
    }
    m_pid = -1;
    close(m_toPeer);
    m_toPeer = -1;
    m_fromPeer = -1;
}

void SipPeer::take(const std::string& line) {
    if (startsWith(line, "event ")) {
        m_events.push_back(line);
    } else {
        m_replies.push_back(line);
    }
}

bool SipPeer::readLines(std::chrono::steady_clock::time_point deadline, bool untilOne) {
    if (m_fromPeer < 0) {
        m_error = "peer not running";
        return false;
    }
    bool gotOne = false;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd pfd = {m_fromPeer, POLLIN, 0};
        const int r = ::poll(&pfd, 1, static_cast<int>(std::max<int64_t>(0, left.count())));
        if (r < 0 && errno == EINTR) {
            continue;
        }
        if (r <= 0) {
            return gotOne;  // nothing more in time
        }
        char buf[4096];
        const ssize_t n = recv(m_fromPeer, buf, sizeof buf, 0);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            m_eof = true;
            m_error = "peer " + m_options.name + " exited";
            return gotOne;
        }
        m_pending.append(buf, static_cast<size_t>(n));
        size_t eol;
        while ((eol = m_pending.find('\n')) != std::string::npos) {
            take(m_pending.substr(0, eol));
            m_pending.erase(0, eol + 1);
            gotOne = true;
        }
        if (m_pending.size() > kMaxLine) {
            m_error = "overlong line from peer";
            m_pending.clear();
        }
        if (gotOne && untilOne) {
            return true;
        }
    }
}

void SipPeer::poll() {
    readLines(std::chrono::steady_clock::now(), false);
}

bool SipPeer::command(const std::string& line, std::string* reply, std::chrono::milliseconds timeout) {
    if (reply != nullptr) {
        reply->clear();
    }
    if (m_toPeer < 0) {
        m_error = "peer not running";
        return false;
    }
    // Replies to earlier commands that timed out are stale now.
    poll();
    m_replies.clear();
    const std::string out = line + "\n";
    if (send(m_toPeer, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size())) {
        m_error = "cannot write to peer " + m_options.name;
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (m_replies.empty()) {
        if (m_eof) {
            m_error = "peer " + m_options.name + " exited";
            return false;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            m_error = "no reply to '" + line.substr(0, line.find(' ')) + "' from peer " + m_options.name;
            return false;
        }
        readLines(deadline, true);
    }
    const std::string answer = m_replies.front();
    m_replies.erase(m_replies.begin());
    if (reply != nullptr) {
        *reply = answer;
    }
    return startsWith(answer, "ok ");
}

bool SipPeer::waitEvent(const std::string& prefix, std::chrono::milliseconds timeout, size_t from, std::string* line) {
    const std::string wanted = "event " + prefix;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    size_t next = from;
    for (;;) {
        for (; next < m_events.size(); ++next) {
            if (startsWith(m_events[next], wanted)) {
                if (line != nullptr) {
                    *line = m_events[next];
                }
                return true;
            }
        }
        if (m_eof || std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        readLines(deadline, true);
    }
}

bool SipPeer::waitCallState(int id, const std::string& state, std::chrono::milliseconds timeout, size_t from) {
    return waitEvent("call " + std::to_string(id) + " " + state + " ", timeout, from);
}

int SipPeer::waitIncomingCall(std::chrono::milliseconds timeout, size_t from) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (size_t next = from;;) {
        for (; next < m_events.size(); ++next) {
            const std::string& e = m_events[next];
            if (startsWith(e, "event call ") && e.find(" IncomingReceived ") != std::string::npos) {
                return std::atoi(e.c_str() + std::strlen("event call "));
            }
        }
        if (m_eof || std::chrono::steady_clock::now() >= deadline) {
            return 0;
        }
        readLines(deadline, true);
    }
}

int SipPeer::lastCallId() {
    poll();
    for (auto it = m_events.rbegin(); it != m_events.rend(); ++it) {
        if (startsWith(*it, "event call ")) {
            return std::atoi(it->c_str() + std::strlen("event call "));
        }
    }
    return 0;
}

bool SipPeer::registerAs(const KamailioFixture& sip, const std::string& user, const std::string& transport,
                         const std::string& password, std::chrono::milliseconds timeout) {
    const size_t mark = eventCount();
    const std::string secret = password.empty() ? sip.password(user) : password;
    if (!command("register " + user + " " + secret + " " + sip.domain() + " " + sip.hostPort() + " " + transport)) {
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (size_t next = mark;;) {
        for (; next < m_events.size(); ++next) {
            if (startsWith(m_events[next], "event registration Ok")) {
                return true;
            }
            if (startsWith(m_events[next], "event registration Failed")) {
                m_error = m_events[next];
                return false;
            }
        }
        if (m_eof || std::chrono::steady_clock::now() >= deadline) {
            m_error = m_eof ? "peer " + m_options.name + " exited" : "no registration outcome in time";
            return false;
        }
        readLines(deadline, true);
    }
}

bool SipPeer::stats(Stats& out, int id) {
    std::string reply;
    if (!command(id > 0 ? "stats " + std::to_string(id) : "stats", &reply)) {
        m_error = reply;
        return false;
    }
    std::istringstream in(reply);
    std::string word;
    while (in >> word) {
        const size_t eq = word.find('=');
        if (eq == std::string::npos) {
            continue;
        }
        const std::string key = word.substr(0, eq);
        const std::string value = word.substr(eq + 1);
        if (key == "rx") {
            out.received = std::stoull(value);
        } else if (key == "tx") {
            out.sent = std::stoull(value);
        } else if (key == "lost") {
            out.lost = std::stoll(value);
        } else if (key == "jitter") {
            out.jitterSeconds = std::stod(value);
        } else if (key == "volume") {
            out.volumeDbm0 = std::stod(value);
        } else if (key == "codec") {
            out.codec = value;
        }
    }
    return true;
}

std::string SipPeer::receivedDtmf() {
    std::string reply;
    if (!command("dtmf-received", &reply)) {
        return "";
    }
    const std::string digits = reply.substr(reply.rfind(' ') + 1);
    return digits == "-" ? "" : digits;
}

}  // namespace test
}  // namespace tessel
