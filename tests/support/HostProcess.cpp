#include "HostProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <boost/property_tree/json_parser.hpp>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

extern char** environ;

namespace pelatest {

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string pattern = (fs::temp_directory_path() / "pela-test-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_path = buffer.data();
}

TempDir::~TempDir() {
    std::error_code ec;
    fs::remove_all(m_path, ec);
}

HostProcess::HostProcess(const Options& options)
    : m_options(options), m_homePath(options.home.empty() ? m_home.path() : options.home) {
    signal(SIGPIPE, SIG_IGN);
    const std::string home = m_homePath;
    m_configHome = options.configHome.empty() ? home + "/config" : options.configHome;
    for (const std::string& dir : {home + "/state", m_configHome, home + "/run"}) fs::create_directories(dir);
    chmod((home + "/run").c_str(), 0700);

    // Nothing may point the child at the real desktop or the real home folder.
    std::set<std::string> drop{"DISPLAY", "WAYLAND_DISPLAY"};
    std::vector<std::string> add{"HOME=" + home, "XDG_STATE_HOME=" + home + "/state", "XDG_CONFIG_HOME=" + m_configHome,
                                 "XDG_RUNTIME_DIR=" + home + "/run", "NO_AT_BRIDGE=1"};
    if (!options.display.empty()) add.push_back("DISPLAY=" + options.display);
    for (const auto& kv : options.extraEnv) {
        drop.insert(kv.first);
        add.push_back(kv.first + "=" + kv.second);
    }
    std::vector<std::string> args{options.executable.empty() ? std::string(PELA_BIN_DIR) + "/pelahost"
                                                             : options.executable};
    if (options.chrome) args.push_back("chrome-extension://pelatestextension/");

    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    m_pid = spawn(args, childEnv(drop, add), in[0], out[1], -1);
    if (m_pid < 0) throw std::runtime_error("fork failed");
    close(in[0]);
    close(out[1]);
    m_toHost = in[1];
    m_fromHost = out[0];
}

HostProcess::~HostProcess() {
    if (m_toHost >= 0) close(m_toHost);
    if (running()) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    if (m_fromHost >= 0) close(m_fromHost);
}

void HostProcess::sendRaw(const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = write(m_toHost, bytes.data() + done, bytes.size() - done);
        if (n <= 0) {
            if (n < 0 && errno == EINTR) continue;
            throw std::runtime_error("write to host failed");
        }
        done += static_cast<size_t>(n);
    }
}

void HostProcess::send(const std::string& text) {
    const uint32_t length = static_cast<uint32_t>(text.size());
    sendRaw(m_options.chrome ? std::string(reinterpret_cast<const char*>(&length), 4) + text : text + "\n");
}

bool HostProcess::fill(std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        pollfd pfd{m_fromHost, POLLIN, 0};
        int r = poll(&pfd, 1, static_cast<int>(left.count()));
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return false;
        char chunk[65536];
        ssize_t n = read(m_fromHost, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;  // end of output: the host has gone
        m_pending.append(chunk, static_cast<size_t>(n));
        return true;
    }
}

bool HostProcess::readExact(char* buffer, size_t size, std::chrono::steady_clock::time_point deadline) {
    while (m_pending.size() < size)
        if (!fill(deadline)) return false;
    std::memcpy(buffer, m_pending.data(), size);
    m_pending.erase(0, size);
    return true;
}

bool HostProcess::readLine(std::string& line, std::chrono::steady_clock::time_point deadline) {
    size_t nl;
    while ((nl = m_pending.find('\n')) == std::string::npos)
        if (!fill(deadline)) return false;
    line = m_pending.substr(0, nl);
    m_pending.erase(0, nl + 1);
    return true;
}

bool HostProcess::receive(std::string& text, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    if (!m_options.chrome) return readLine(text, deadline);
    uint32_t length = 0;
    if (!readExact(reinterpret_cast<char*>(&length), 4, deadline)) return false;
    text.assign(length, '\0');
    return length == 0 || readExact(&text[0], length, deadline);
}

bool HostProcess::receiveUntil(const std::function<bool(const boost::property_tree::ptree&)>& pred,
                               std::chrono::milliseconds timeout, std::vector<std::string>* seen) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        std::string text;
        if (!receive(text, left)) return false;
        if (seen) seen->push_back(text);
        try {
            if (pred(parseJson(text))) return true;
        } catch (const std::exception&) {
            // Not JSON: not what we wait for.
        }
    }
}

void HostProcess::closeInput() {
    if (m_toHost >= 0) {
        close(m_toHost);
        m_toHost = -1;
    }
}

bool HostProcess::running() {
    if (m_pid <= 0 || m_exitStatus != -1) return false;
    int status = 0;
    pid_t r = waitpid(m_pid, &status, WNOHANG);
    if (r == 0) return true;
    if (r == m_pid) m_exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return false;
}

int HostProcess::waitExit(std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (running()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
            m_exitStatus = -2;
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return m_exitStatus;
}

std::vector<std::string> childEnv(const std::set<std::string>& drop, const std::vector<std::string>& add) {
    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string entry(*e);
        const std::string key = entry.substr(0, entry.find('='));
        if (key != "HOME" && key.rfind("XDG_", 0) != 0 && drop.count(key) == 0) env.push_back(entry);
    }
    env.insert(env.end(), add.begin(), add.end());
    return env;
}

pid_t spawn(std::vector<std::string> args, std::vector<std::string> env, int in, int out, int err, bool ownGroup) {
    auto pointers = [](std::vector<std::string>& v) {
        std::vector<char*> p;
        for (auto& s : v) p.push_back(&s[0]);
        p.push_back(nullptr);
        return p;
    };
    std::vector<char*> argv = pointers(args);
    std::vector<char*> envp = pointers(env);
    const pid_t pid = fork();
    if (pid == 0) {
        if (ownGroup) setpgid(0, 0);
        dup2(in, 0);
        dup2(out, 1);
        if (err >= 0) dup2(err, 2);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    if (pid > 0 && ownGroup) setpgid(pid, pid);
    return pid;
}

bool reaped(pid_t pid, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const pid_t r = waitpid(pid, nullptr, WNOHANG);
        if (r == pid || (r < 0 && errno == ECHILD)) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

std::string HostProcess::logPath() const {
    return m_homePath + "/state/Marlin Web SDK/softphone.log";
}

std::string HostProcess::logText() const {
    return readFile(logPath());
}

std::string request(const std::string& clientId, const std::string& hostname, const std::string& name,
                    const std::string& messageId, const std::string& contentJson) {
    return "{\"norvaChannelMessage\":{\"client\":{\"id\":\"" + clientId + "\",\"url\":\"https://" + hostname +
           "/app\",\"hostname\":\"" + hostname + "\",\"name\":\"test page\",\"type\":\"Chrome\"}," +
           "\"norvaSDKClientMessage\":{\"name\":\"" + name + "\",\"messageId\":\"" + messageId + "\"" +
           (contentJson.empty() ? "" : ",\"content\":" + contentJson) + "}}}";
}

std::string disconnect(const std::string& clientId) {
    return "{\"norvaChannelMessage\":{\"client\":{\"id\":\"" + clientId + "\"},\"clientConnected\":false}}";
}

std::string jsonQuote(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + "\"";
}

boost::property_tree::ptree parseJson(const std::string& text) {
    std::istringstream in(text);
    boost::property_tree::ptree tree;
    boost::property_tree::read_json(in, tree);
    return tree;
}

std::string serverField(const boost::property_tree::ptree& message, const std::string& key) {
    return message.get<std::string>("norvaChannelMessage.norvaSDKServerMessage." + key, "");
}

bool isReplyTo(const boost::property_tree::ptree& message, const std::string& messageId) {
    return serverField(message, "replyToMessageId") == messageId;
}

bool isEvent(const boost::property_tree::ptree& message, const std::string& name) {
    return serverField(message, "replyToMessageId").empty() && serverField(message, "name") == name;
}

boost::property_tree::ptree call(HostProcess& host, const std::string& clientId, const std::string& hostname,
                                 const std::string& name, const std::string& messageId, const std::string& contentJson,
                                 std::string* raw) {
    host.send(request(clientId, hostname, name, messageId, contentJson));
    std::vector<std::string> seen;
    boost::property_tree::ptree reply;
    const bool got = host.receiveUntil(
        [&](const boost::property_tree::ptree& m) {
            if (!isReplyTo(m, messageId)) return false;
            reply = m;
            return true;
        },
        std::chrono::seconds(5), &seen);
    EXPECT_TRUE(got) << "no reply to " << name << " (" << messageId << ")";
    if (raw != nullptr && !seen.empty()) *raw = seen.back();
    return reply;
}

void writePreferences(const std::string& configHome, const std::string& json) {
    const std::filesystem::path dir = std::filesystem::path(configHome) / "com.norva.Tollbridge";
    std::filesystem::create_directories(dir);
    ::chmod(dir.c_str(), 0700);
    std::ofstream(dir / "preferences.json") << json;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string lastLines(const std::string& text, size_t n) {
    size_t at = text.size();
    if (at > 0 && text[at - 1] == '\n') --at;
    while (n > 0 && at != std::string::npos && at > 0) {
        at = text.rfind('\n', at - 1);
        --n;
    }
    return at == std::string::npos || n > 0 ? text : text.substr(at + 1);
}

mode_t modeOf(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

void ScopedEnv::set(const std::string& name, const char* value) {
    const char* old = std::getenv(name.c_str());
    m_saved.push_back({name, {old != nullptr, old != nullptr ? old : ""}});
    value != nullptr ? ::setenv(name.c_str(), value, 1) : ::unsetenv(name.c_str());
}

ScopedEnv::~ScopedEnv() {
    for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it) {
        it->second.first ? ::setenv(it->first.c_str(), it->second.second.c_str(), 1) : ::unsetenv(it->first.c_str());
    }
}

PrivateHome::PrivateHome() {
    const std::pair<const char*, const char*> folders[] = {
        {"HOME", "/home"}, {"XDG_STATE_HOME", "/state"}, {"XDG_RUNTIME_DIR", "/run"}, {"XDG_CONFIG_HOME", "/config"}};
    for (const auto& f : folders) {
        ::mkdir((root() + f.second).c_str(), 0700);
        env.set(f.first, root() + f.second);
    }
}

}  // namespace pelatest
