#include "IdentityProvider.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <curl/curl.h>
#include <sys/wait.h>

#include "HostProcess.h"

namespace tessel {
namespace test {

namespace {
const char* const kNode = "/usr/bin/node";

// Reads one line from fd until the deadline; false on end of file or time out.
bool readLine(int fd, std::string& line, std::chrono::steady_clock::time_point deadline) {
    line.clear();
    while (std::chrono::steady_clock::now() < deadline) {
        pollfd pfd = {fd, POLLIN, 0};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (poll(&pfd, 1, static_cast<int>(std::max<long>(1, left.count()))) <= 0) continue;
        char c = 0;
        const ssize_t n = read(fd, &c, 1);
        if (n <= 0) return false;
        if (c == '\n') return true;
        line += c;
    }
    return false;
}

// Runs a child to its end (bounded) and returns what it printed on standard output.
bool runToEnd(const std::vector<std::string>& args, std::string& out, std::chrono::seconds timeout,
              const std::string& errPath) {
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) return false;
    const int nullFd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int errFd = open(errPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const pid_t pid = pelatest::spawn(args, pelatest::childEnv({}, {}), nullFd, pipeFds[1], errFd);
    close(pipeFds[1]);
    if (nullFd >= 0) close(nullFd);
    if (errFd >= 0) close(errFd);
    out.clear();
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::string line;
    while (readLine(pipeFds[0], line, deadline)) out += line + "\n";
    close(pipeFds[0]);
    if (pid > 0 && !pelatest::reaped(pid, std::chrono::seconds(2))) {
        kill(pid, SIGKILL);
        pelatest::reaped(pid, std::chrono::seconds(2));
    }
    return pid > 0;
}

size_t collect(char* data, size_t size, size_t count, void* user) {
    static_cast<std::string*>(user)->append(data, size * count);
    return size * count;
}
}  // namespace

IdentityProvider::IdentityProvider(const Options& options) : m_options(options), m_pDir(new pelatest::TempDir()) {}

IdentityProvider::~IdentityProvider() {
    stop();
}

std::string IdentityProvider::logText() const {
    return pelatest::readFile(m_pDir->path() + "/idp.log") + pelatest::readFile(m_pDir->path() + "/agent.log");
}

bool IdentityProvider::start(std::chrono::milliseconds timeout) {
    if (m_pid > 0) return true;
    const std::string dir = m_pDir->path();
    int toChild[2];
    int fromChild[2];
    if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) {
        m_error = "no pipes";
        return false;
    }
    const int logFd = open((dir + "/idp.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const std::string script = std::string(PELA_SOURCE_DIR) + "/tests/sso/idp.mjs";
    m_pid = pelatest::spawn({kNode,
                             script,
                             "--dir",
                             dir,
                             "--domain",
                             m_options.domain,
                             "--registrar",
                             m_options.registrar,
                             "--secret",
                             m_options.secret,
                             "--redirect",
                             m_options.redirect,
                             "--users",
                             m_options.users,
                             "--credential-ttl",
                             std::to_string(m_options.credentialTtl),
                             "--access-ttl",
                             std::to_string(m_options.accessTtl),
                             "--refresh",
                             m_options.refresh ? "1" : "0"},
                            pelatest::childEnv({}, {"NODE_PATH=" + std::string(PELA_SOURCE_DIR) + "/node_modules"}),
                            toChild[0], fromChild[1], logFd, true);
    close(toChild[0]);
    close(fromChild[1]);
    if (logFd >= 0) close(logFd);
    m_toChild = toChild[1];
    std::string line;
    const bool ok = m_pid > 0 && readLine(fromChild[0], line, std::chrono::steady_clock::now() + timeout);
    close(fromChild[0]);
    if (!ok) {
        m_error = "the identity provider did not start; its log:\n" + logText();
        stop();
        return false;
    }
    const boost::property_tree::ptree ready = pelatest::parseJson(line);
    m_issuer = ready.get<std::string>("issuer", "");
    m_provisioning = ready.get<std::string>("provisioning", "");
    m_ca = ready.get<std::string>("ca", "");
    if (m_issuer.empty() || m_provisioning.empty() || m_ca.empty()) {
        m_error = "unexpected start line [" + line + "]";
        stop();
        return false;
    }
    return true;
}

void IdentityProvider::stop() {
    if (m_toChild >= 0) close(m_toChild);
    m_toChild = -1;
    if (m_pid <= 0) return;
    kill(m_pid, SIGTERM);
    if (!pelatest::reaped(m_pid, std::chrono::seconds(5))) {
        kill(-m_pid, SIGKILL);
        pelatest::reaped(m_pid, std::chrono::seconds(5));
    }
    m_pid = -1;
}

std::string IdentityProvider::signInAt(const std::string& url, const std::string& user, const std::string& password,
                                       bool deny, const std::string& jar) {
    std::vector<std::string> args = {kNode,        std::string(PELA_SOURCE_DIR) + "/tests/sso/agent.mjs",
                                     "--ca",       m_ca,
                                     "--url",      url,
                                     "--user",     user,
                                     "--password", password};
    if (deny) args.push_back("--deny");
    if (!jar.empty()) {
        args.push_back("--jar");
        args.push_back(m_pDir->path() + "/" + jar + ".jar");
    }
    std::string out;
    if (!runToEnd(args, out, std::chrono::seconds(30), m_pDir->path() + "/agent.log")) {
        m_error = "the scripted user did not run";
        return std::string();
    }
    const boost::property_tree::ptree result = pelatest::parseJson(out);
    const std::string address = result.get<std::string>("url", "");
    if (address.empty()) m_error = "the scripted user failed: " + out + logText();
    return address;
}

bool IdentityProvider::revoke(const std::string& user) {
    CURL* curl = curl_easy_init();
    if (curl == nullptr) return false;
    std::string body;
    const std::string url = m_provisioning + "/test/revoke?user=" + user;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, "");
    curl_easy_setopt(curl, CURLOPT_CAINFO, m_ca.c_str());
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 10L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    const CURLcode code = curl_easy_perform(curl);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_cleanup(curl);
    if (code != CURLE_OK || status != 200) {
        m_error = "revoke failed: " + std::string(curl_easy_strerror(code)) + " " + std::to_string(status) + " " + body;
        return false;
    }
    return true;
}

}  // namespace test
}  // namespace tessel
