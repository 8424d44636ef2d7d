#include "SipPeer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include <sys/socket.h>
#include <sys/stat.h>

#include "HostProcess.h"
#include "KamailioFixture.h"

namespace tessel {
namespace test {

namespace {

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.compare(0, prefix.size(), prefix) == 0;
}

void putLe(std::string& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xff));
}

uint32_t getLe(const std::string& in, size_t at, int bytes) {
    uint32_t v = 0;
    for (int i = 0; i < bytes; ++i) {
        v |= static_cast<uint32_t>(static_cast<unsigned char>(in[at + static_cast<size_t>(i)])) << (8 * i);
    }
    return v;
}

// The call number of an "event call <id> ..." line.
int callIdOf(const std::string& event) {
    return std::atoi(event.c_str() + std::strlen("event call "));
}

}  // namespace

bool writeToneWav(const std::string& path, double hz, double seconds, int sampleRate) {
    const uint32_t frames = static_cast<uint32_t>(seconds * sampleRate);
    std::string data;
    for (uint32_t i = 0; i < frames; ++i) {
        const double v = 16383.0 * std::sin(2.0 * M_PI * hz * i / sampleRate);
        putLe(data, static_cast<uint32_t>(static_cast<int16_t>(std::lround(v))) & 0xffff, 2);
    }
    std::string wav = "RIFF";
    putLe(wav, static_cast<uint32_t>(36 + data.size()), 4);
    wav += "WAVEfmt ";
    putLe(wav, 16, 4);  // fmt chunk size
    putLe(wav, 1, 2);   // PCM
    putLe(wav, 1, 2);   // mono
    putLe(wav, static_cast<uint32_t>(sampleRate), 4);
    putLe(wav, static_cast<uint32_t>(sampleRate * 2), 4);  // bytes per second
    putLe(wav, 2, 2);                                      // bytes per frame
    putLe(wav, 16, 2);                                     // bits per sample
    wav += "data";
    putLe(wav, static_cast<uint32_t>(data.size()), 4);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << wav << data;
    return static_cast<bool>(out);
}

double toneShare(const std::string& path, double hz, double seconds) {
    const std::string wav = pelatest::readFile(path);
    if (wav.size() < 12 || wav.compare(0, 4, "RIFF") != 0 || wav.compare(8, 4, "WAVE") != 0) return -1;
    uint32_t channels = 0, rate = 0, bits = 0;
    size_t dataAt = 0, dataSize = 0;
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
    if (dataAt == 0 || channels == 0 || rate == 0 || bits != 16) return -1;
    const size_t frameBytes = 2 * channels;
    const size_t frames = std::min(dataSize / frameBytes, static_cast<size_t>(seconds * rate));
    // Goertzel on the first channel, over short blocks whose powers are
    // summed: a received tone is not phase-continuous across packets.
    const size_t block = std::max<size_t>(rate / 10, 1);
    const double k = 2.0 * std::cos(2.0 * M_PI * hz / rate);
    double tone = 0, energy = 0;
    for (size_t start = 0; start + block <= frames; start += block) {
        double s1 = 0, s2 = 0;
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

std::string SipPeer::recordFile() const {
    return m_pDir->path() + "/heard.wav";
}
std::string SipPeer::logText() const {
    return pelatest::readFile(m_pDir->path() + "/peer.log");
}

bool SipPeer::start(std::chrono::milliseconds timeout) {
    if (m_pid > 0) return true;
    const std::string home = m_pDir->path();
    const std::string tone = home + "/tone.wav";
    if (!writeToneWav(tone, m_options.toneHz, 20.0)) {
        m_error = "cannot write " + tone;
        return false;
    }
    // A private home and runtime folder: the audio layer creates folders there.
    mkdir((home + "/run").c_str(), 0700);
    // Under TSan the peer gets its own suppressions: the engine's libraries
    // are not instrumented (see the file).
    std::string tsan = "suppressions=" + std::string(PELA_SOURCE_DIR) + "/tests/sip/sippeer.tsan.supp";
    if (const char* given = getenv("TSAN_OPTIONS")) {
        std::istringstream in(given);
        for (std::string option; std::getline(in, option, ':');) {
            if (!option.empty() && !startsWith(option, "suppressions=")) tsan += ":" + option;
        }
    }
    // No display: the peer decodes video but draws it nowhere.
    const auto env = pelatest::childEnv({"PULSE_SERVER", "TSAN_OPTIONS", "DISPLAY", "WAYLAND_DISPLAY"},
                                        {"TSAN_OPTIONS=" + tsan, "HOME=" + home, "XDG_RUNTIME_DIR=" + home + "/run",
                                         "XDG_CONFIG_HOME=" + home + "/config", "XDG_DATA_HOME=" + home + "/data",
                                         "XDG_CACHE_HOME=" + home + "/cache"});
    std::vector<std::string> args = {std::string(PELA_BIN_DIR) + "/pela_sippeer",
                                     "--dir",
                                     home,
                                     "--play",
                                     tone,
                                     "--record",
                                     recordFile(),
                                     "--pace-ms",
                                     std::to_string(m_options.paceMs)};
    if (m_options.autoAnswer) args.push_back("--auto-answer");
    if (m_options.video) args.push_back("--video");

    // One socket pair serves as the peer's standard input and output; send()
    // with MSG_NOSIGNAL spares us SIGPIPE if the peer dies.
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
        m_error = std::string("socketpair: ") + std::strerror(errno);
        return false;
    }
    const int logFd = open((home + "/peer.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    m_pid = logFd < 0 ? -1 : pelatest::spawn(args, env, fds[1], fds[1], logFd);
    close(fds[1]);
    if (logFd >= 0) close(logFd);
    m_fd = fds[0];
    m_eof = false;
    if (m_pid < 0 || !waitEvent("ready", timeout)) {
        m_error = "peer " + m_options.name + " not ready: " + m_error + "\n" + logText();
        stop();
        return false;
    }
    return true;
}

void SipPeer::vanish() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        pelatest::reaped(m_pid, std::chrono::seconds(5));
    }
    m_pid = -1;
    if (m_fd >= 0) close(m_fd);
    m_fd = -1;
}

void SipPeer::stop() {
    if (m_pid > 0) {
        send(m_fd, "quit\n", 5, MSG_NOSIGNAL);
        shutdown(m_fd, SHUT_WR);
        if (!pelatest::reaped(m_pid, std::chrono::seconds(5))) {
            kill(m_pid, SIGTERM);
            if (!pelatest::reaped(m_pid, std::chrono::seconds(3))) {
                kill(m_pid, SIGKILL);
                pelatest::reaped(m_pid, std::chrono::seconds(3));
            }
        }
    }
    m_pid = -1;
    if (m_fd >= 0) close(m_fd);
    m_fd = -1;
}

// Reads until at least one line came or the deadline passed; false when none came.
bool SipPeer::readLines(std::chrono::steady_clock::time_point deadline) {
    if (m_fd < 0 || m_eof) return false;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd pfd = {m_fd, POLLIN, 0};
        const int r = ::poll(&pfd, 1, static_cast<int>(std::max<int64_t>(0, left.count())));
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return false;
        char buf[4096];
        const ssize_t n = recv(m_fd, buf, sizeof buf, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            m_eof = true;
            m_error = "peer " + m_options.name + " exited";
            return false;
        }
        m_pending.append(buf, static_cast<size_t>(n));
        bool got = false;
        for (size_t eol; (eol = m_pending.find('\n')) != std::string::npos; got = true) {
            const std::string line = m_pending.substr(0, eol);
            m_pending.erase(0, eol + 1);
            (startsWith(line, "event ") ? m_events : m_replies).push_back(line);
        }
        if (got) return true;
    }
}

void SipPeer::poll() {
    while (readLines(std::chrono::steady_clock::now())) {
    }
}

bool SipPeer::command(const std::string& line, std::string* reply, std::chrono::milliseconds timeout) {
    if (reply != nullptr) reply->clear();
    // Replies to earlier commands that timed out are stale now.
    poll();
    m_replies.clear();
    const std::string out = line + "\n";
    if (m_fd < 0 || send(m_fd, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size())) {
        m_error = "cannot write to peer " + m_options.name;
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (m_replies.empty()) {
        if (!readLines(deadline) && (m_eof || std::chrono::steady_clock::now() >= deadline)) {
            if (!m_eof) m_error = "no reply to '" + line.substr(0, line.find(' ')) + "' from peer " + m_options.name;
            return false;
        }
    }
    if (reply != nullptr) *reply = m_replies.front();
    return startsWith(m_replies.front(), "ok ");
}

long SipPeer::find(const std::function<bool(const std::string&)>& match, std::chrono::milliseconds timeout,
                   size_t from) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (size_t next = from;;) {
        for (; next < m_events.size(); ++next)
            if (match(m_events[next])) return static_cast<long>(next);
        if (!readLines(deadline) && (m_eof || std::chrono::steady_clock::now() >= deadline)) return -1;
    }
}

bool SipPeer::waitEvent(const std::string& prefix, std::chrono::milliseconds timeout, size_t from, std::string* line) {
    const long at = find([&](const std::string& e) { return startsWith(e, "event " + prefix); }, timeout, from);
    if (at >= 0 && line != nullptr) *line = m_events[static_cast<size_t>(at)];
    return at >= 0;
}

bool SipPeer::waitCallState(int id, const std::string& state, std::chrono::milliseconds timeout, size_t from) {
    return waitEvent("call " + std::to_string(id) + " " + state + " ", timeout, from);
}

int SipPeer::waitIncomingCall(std::chrono::milliseconds timeout, size_t from) {
    const long at = find(
        [](const std::string& e) {
            return startsWith(e, "event call ") && e.find(" IncomingReceived ") != std::string::npos;
        },
        timeout, from);
    return at < 0 ? 0 : callIdOf(m_events[static_cast<size_t>(at)]);
}

int SipPeer::lastCallId() {
    poll();
    for (auto it = m_events.rbegin(); it != m_events.rend(); ++it) {
        if (startsWith(*it, "event call ")) return callIdOf(*it);
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
    const long at = find(
        [](const std::string& e) {
            return startsWith(e, "event registration Ok") || startsWith(e, "event registration Failed");
        },
        timeout, mark);
    if (at >= 0 && startsWith(m_events[static_cast<size_t>(at)], "event registration Ok")) return true;
    m_error = at >= 0 ? m_events[static_cast<size_t>(at)]
              : m_eof ? "peer " + m_options.name + " exited"
                      : "no registration outcome in time";
    return false;
}

double SipPeer::receivedVolume(int id) {
    std::string reply;
    if (!command(id > 0 ? "volume " + std::to_string(id) : "volume", &reply)) return std::nan("");
    return std::atof(reply.c_str() + std::strlen("ok volume "));
}

long SipPeer::receivedPackets(int id) {
    std::string reply;
    if (!command(id > 0 ? "received " + std::to_string(id) : "received", &reply)) return -1;
    return std::atol(reply.c_str() + std::strlen("ok received "));
}

std::string SipPeer::receivedDtmf() {
    std::string reply;
    if (!command("dtmf-received", &reply)) return "";
    const std::string digits = reply.substr(reply.rfind(' ') + 1);
    return digits == "-" ? "" : digits;
}

}  // namespace test
}  // namespace tessel
