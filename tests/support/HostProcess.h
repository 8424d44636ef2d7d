#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <sys/types.h>

namespace pelatest {

// A temporary folder removed (recursively) on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

// The built host executable run as a browser would run it: its standard input
// and output are pipes; it gets a private home, state, config and runtime folder.
class HostProcess {
public:
    struct Options {
        bool chrome = true;      // pass a "chrome-extension://" origin
        std::string display;     // DISPLAY for the child; empty = none
        std::string configHome;  // XDG_CONFIG_HOME; empty = private folder
        std::map<std::string, std::string> extraEnv;
        std::string executable;  // default: the built pelahost
        std::string home;        // an earlier host's home(), to start again on its files; empty = new
    };

    explicit HostProcess(const Options& options);
    ~HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    // Frames text as the mode requires and writes it.
    void send(const std::string& text);
    // Writes raw bytes (for framing edge cases).
    void sendRaw(const std::string& bytes);
    // The next message, or false when none arrived within the timeout.
    bool receive(std::string& text, std::chrono::milliseconds timeout);
    // Messages until one satisfies pred (true) or the timeout passes (false);
    // every message read is appended to seen.
    bool receiveUntil(const std::function<bool(const boost::property_tree::ptree&)>& pred,
                      std::chrono::milliseconds timeout, std::vector<std::string>* seen = nullptr);
    // Closes the host's standard input, as a browser does when the page goes.
    void closeInput();
    // Waits for the exit; returns the exit status, or -1 on timeout (then kills it).
    int waitExit(std::chrono::milliseconds timeout);
    bool running();
    pid_t pid() const { return m_pid; }

    const std::string& home() const { return m_homePath; }
    std::string logPath() const;
    std::string logText() const;
    std::string configHome() const { return m_configHome; }

private:
    bool fill(std::chrono::steady_clock::time_point deadline);
    bool readExact(char* buffer, size_t size, std::chrono::steady_clock::time_point deadline);
    bool readLine(std::string& line, std::chrono::steady_clock::time_point deadline);

    Options m_options;
    TempDir m_home;
    std::string m_homePath;
    std::string m_configHome;
    pid_t m_pid = -1;
    int m_toHost = -1;
    int m_fromHost = -1;
    std::string m_pending;
    int m_exitStatus = -1;
};

// Child processes of the harness.
// This process's environment less HOME, XDG_* and the keys in drop, then add ("KEY=value").
std::vector<std::string> childEnv(const std::set<std::string>& drop, const std::vector<std::string>& add);
// Runs args[0] with standard input and output on in and out, and standard
// error on err (-1: ours); in its own process group if asked. -1 when fork fails.
pid_t spawn(std::vector<std::string> args, std::vector<std::string> env, int in, int out, int err,
            bool ownGroup = false);
// Waits (bounded) for the child to end; true once it is reaped.
bool reaped(pid_t pid, std::chrono::milliseconds timeout);

// Envelope helpers for tests.
std::string request(const std::string& clientId, const std::string& hostname, const std::string& name,
                    const std::string& messageId, const std::string& contentJson = "");
std::string disconnect(const std::string& clientId);
boost::property_tree::ptree parseJson(const std::string& text);
// text as a JSON string, quotes and backslashes escaped.
std::string jsonQuote(const std::string& text);
// Path into norvaChannelMessage.norvaSDKServerMessage, "" when absent.
std::string serverField(const boost::property_tree::ptree& message, const std::string& key);
bool isReplyTo(const boost::property_tree::ptree& message, const std::string& messageId);
// An unsolicited message (no replyToMessageId) with this name.
bool isEvent(const boost::property_tree::ptree& message, const std::string& name);
// Sends a request and returns its reply (fails the test when none comes in
// time); raw receives the reply's text.
boost::property_tree::ptree call(HostProcess& host, const std::string& clientId, const std::string& hostname,
                                 const std::string& name, const std::string& messageId,
                                 const std::string& contentJson = "", std::string* raw = nullptr);
// Writes the site whitelist file under configHome.
void writePreferences(const std::string& configHome, const std::string& json);
std::string readFile(const std::string& path);
// The last n lines of text, for failure messages.
std::string lastLines(const std::string& text, size_t n);
// Permission bits of a path, 0 when it does not exist.
mode_t modeOf(const std::string& path);
bool exists(const std::string& path);

// Environment changes undone (in reverse order) when it goes out of scope.
class ScopedEnv {
public:
    ScopedEnv() = default;
    ScopedEnv(const std::string& name, const char* value) { set(name, value); }
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;
    // Sets, or for nullptr removes, the variable.
    void set(const std::string& name, const char* value);
    void set(const std::string& name, const std::string& value) { set(name, value.c_str()); }

private:
    std::vector<std::pair<std::string, std::pair<bool, std::string>>> m_saved;
};

// A private home: root()/home, /state, /run and /config as HOME,
// XDG_STATE_HOME, XDG_RUNTIME_DIR and XDG_CONFIG_HOME for the scope.
class PrivateHome {
public:
    PrivateHome();
    const std::string& root() const { return m_dir.path(); }
    ScopedEnv env;

private:
    TempDir m_dir;
};

}  // namespace pelatest
