#include "platform/linux/HostDoctor.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <sys/stat.h>
#include <sys/wait.h>

namespace tessel {

namespace {

using Clock = std::chrono::steady_clock;

bool exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::string homeFolder() {
    const char* home = getenv("HOME");
    return home != nullptr ? home : "";
}

// Libraries the dynamic loader cannot find for path, as ldd reports them.
std::string missingLibraries(const std::string& path) {
    const std::string command = "ldd '" + path + "' 2>/dev/null";
    if (path.find('\'') != std::string::npos) return "";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "";
    std::string missing;
    char line[1024];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        const std::string text(line);
        if (text.find("not found") == std::string::npos) continue;
        const size_t start = text.find_first_not_of(" \t");
        const size_t end = text.find(" =>");
        missing += (missing.empty() ? "" : ", ") + text.substr(start, end == std::string::npos ? end : end - start);
    }
    pclose(pipe);
    return missing;
}

bool writeAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t n = write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// Reads exactly size bytes before the deadline.
bool readAll(int fd, char* data, size_t size, Clock::time_point deadline) {
    while (size > 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(left)) <= 0) continue;
        const ssize_t n = read(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

std::vector<std::string> HostDoctor::checkManifest(const std::string& path, const std::string& fixCommand,
                                                   std::string* hostPath) {
    std::vector<std::string> problems;
    const std::string fix = " Fix: run " + fixCommand + ".";
    boost::property_tree::ptree manifest;
    try {
        boost::property_tree::read_json(path, manifest);
    } catch (const boost::property_tree::json_parser_error& e) {
        problems.push_back("The manifest " + path + " is not valid JSON (" + e.message() + ", line " +
                           std::to_string(e.line()) + ")." + fix);
        return problems;
    }
    const std::string name = manifest.get("name", "");
    const std::string expectedFile = std::string(NativeHostRegistration::kHostName) + ".json";
    if (name != NativeHostRegistration::kHostName) {
        problems.push_back("The manifest " + path + " names the host [" + name + "], not [" +
                           NativeHostRegistration::kHostName + "]." + fix);
    } else if (path.size() < expectedFile.size() ||
               path.compare(path.size() - expectedFile.size(), expectedFile.size(), expectedFile) != 0) {
        problems.push_back("The manifest's file name must be " + expectedFile + " to match its name." + fix);
    }
    if (manifest.get("type", "") != "stdio") {
        problems.push_back("The manifest " + path + " must say \"type\": \"stdio\"." + fix);
    }
    const std::string executable = manifest.get("path", "");
    if (executable.empty() || executable[0] != '/') {
        problems.push_back("The manifest's path [" + executable + "] is not absolute; browsers need a full path." +
                           fix);
    } else if (!exists(executable)) {
        problems.push_back("The host program " + executable + " does not exist (moved or uninstalled?)." + fix);
    } else if (access(executable.c_str(), X_OK) != 0) {
        problems.push_back("The host program " + executable + " is not executable. Fix: chmod +x " + executable + ".");
    } else {
        const std::string missing = missingLibraries(executable);
        if (!missing.empty()) {
            problems.push_back("The host program " + executable + " cannot load " + missing +
                               ". Fix: reinstall the package, or build again with scripts/setup.");
        } else if (hostPath != nullptr) {
            *hostPath = executable;
        }
    }
    bool allowed = false;
    if (auto origins = manifest.get_child_optional("allowed_origins")) {
        for (const auto& origin : *origins)
            allowed |= origin.second.data() == NativeHostRegistration::extensionOrigin();
    }
    if (!allowed) {
        problems.push_back("The manifest does not allow our extension (" + NativeHostRegistration::extensionOrigin() +
                           ")." + fix);
    }
    return problems;
}

std::string HostDoctor::roundTrip(const std::string& hostPath, std::chrono::milliseconds timeout) {
    int toHost[2];
    int fromHost[2];
    if (pipe2(toHost, O_CLOEXEC) != 0) return std::string("cannot make a pipe: ") + std::strerror(errno);
    if (pipe2(fromHost, O_CLOEXEC) != 0) {
        close(toHost[0]);
        close(toHost[1]);
        return std::string("cannot make a pipe: ") + std::strerror(errno);
    }
    const std::string origin = NativeHostRegistration::extensionOrigin();
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(toHost[0], STDIN_FILENO);
        dup2(fromHost[1], STDOUT_FILENO);
        execl(hostPath.c_str(), hostPath.c_str(), origin.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(toHost[0]);
    close(fromHost[1]);
    if (pid < 0) {
        close(toHost[1]);
        close(fromHost[0]);
        return std::string("cannot start it: ") + std::strerror(errno);
    }
    // The browser's framing: a 32-bit length in the machine's byte order.
    const std::string request = "{\"norvaChannelMessage\":{\"client\":{\"id\":\"doctor\",\"url\":\"" + origin +
                                "\",\"hostname\":\"doctor\",\"name\":\"pelahost --doctor\",\"type\":\"Chrome\"},"
                                "\"norvaSDKClientMessage\":{\"name\":\"getVersion\",\"messageId\":\"doctor-1\"}}}";
    const uint32_t length = static_cast<uint32_t>(request.size());
    const sighandler_t previous = signal(SIGPIPE, SIG_IGN);
    std::string why;
    if (!writeAll(toHost[1], reinterpret_cast<const char*>(&length), sizeof(length)) ||
        !writeAll(toHost[1], request.data(), request.size())) {
        why = "it closed its input at once";
    } else {
        const auto deadline = Clock::now() + timeout;
        uint32_t replyLength = 0;
        if (!readAll(fromHost[0], reinterpret_cast<char*>(&replyLength), sizeof(replyLength), deadline)) {
            why = "no reply within " + std::to_string(timeout.count()) + " ms";
        } else if (replyLength == 0 || replyLength > 1024 * 1024) {
            why = "a reply frame of " + std::to_string(replyLength) + " bytes";
        } else {
            std::string reply(replyLength, '\0');
            if (!readAll(fromHost[0], &reply[0], replyLength, deadline)) {
                why = "a reply cut short";
            } else {
                boost::property_tree::ptree tree;
                std::istringstream in(reply);
                try {
                    boost::property_tree::read_json(in, tree);
                    const auto& server = tree.get_child("norvaChannelMessage.norvaSDKServerMessage");
                    if (server.get("replyToMessageId", "") != "doctor-1") {
                        why = "a reply to something else";
                    } else if (!server.get("error", "").empty()) {
                        why = "an error reply [" + server.get("error", "") + "]";
                    }
                } catch (const std::exception&) {
                    why = "a reply that is not the expected JSON";
                }
            }
        }
    }
    // Closing its input is how a browser ends the host.
    close(toHost[1]);
    close(fromHost[0]);
    signal(SIGPIPE, previous);
    int status = 0;
    const auto until = Clock::now() + std::chrono::seconds(3);
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (Clock::now() > until) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            break;
        }
        usleep(10000);
    }
    return why;
}

int HostDoctor::run(const std::vector<std::string>& args, std::ostream& out) {
    NativeHostRegistration::Choice choice;
    std::ostringstream parseErrors;
    if (!NativeHostRegistration::parse(args, choice, parseErrors)) {
        out << parseErrors.str();
        return 1;
    }
    int problems = 0;
    std::map<std::string, std::string> tried;  // host path -> outcome of its round trip
    for (const BrowserFolders* browser : choice.browsers) {
        const std::string configDir = NativeHostRegistration::userConfigRoot() + "/" + browser->configDir;
        const std::string fix = "pelahost --install --browser " + browser->id;
        out << browser->label << ":\n";
        bool found = exists(configDir);
        out << "  " << (found ? "ok  " : "note") << " config folder " << configDir
            << (found ? "" : " is missing (start the browser once so that it makes it)") << "\n";
        if (!browser->snapName.empty() &&
            (exists("/snap/bin/" + browser->snapName) || exists(homeFolder() + "/snap/" + browser->snapName))) {
            ++problems;
            out << "  FAIL " << browser->label << " is a snap: snaps cannot start programs outside their "
                << "sandbox. Fix: use the browser from the Debian package (apt install " << browser->id
                << ") or connect the snap's native-messaging interface.\n";
        }
        if (!browser->flatpakId.empty() && exists(homeFolder() + "/.var/app/" + browser->flatpakId)) {
            ++problems;
            out << "  FAIL " << browser->label << " is a flatpak (" << browser->flatpakId
                << "): flatpaks cannot start programs outside their sandbox. Fix: use the browser from the "
                << "distribution's package.\n";
        }
        std::string manifest = NativeHostRegistration::manifestPath(*browser, false);
        if (!exists(manifest) && exists(NativeHostRegistration::manifestPath(*browser, true))) {
            manifest = NativeHostRegistration::manifestPath(*browser, true);
        }
        if (!exists(manifest)) {
            ++problems;
            out << "  FAIL The host is not registered for " << browser->label << " (no " << manifest << "). Fix: run "
                << fix << ".\n";
            continue;
        }
        std::string hostPath;
        const std::vector<std::string> found2 = checkManifest(manifest, fix, &hostPath);
        for (const std::string& problem : found2) out << "  FAIL " << problem << "\n";
        problems += static_cast<int>(found2.size());
        if (!found2.empty()) continue;
        out << "  ok   manifest " << manifest << "\n";
        auto known = tried.find(hostPath);
        if (known == tried.end()) {
            known = tried.emplace(hostPath, roundTrip(hostPath, std::chrono::seconds(2))).first;
        }
        if (known->second.empty()) {
            out << "  ok   " << hostPath << " answered \"getVersion\"\n";
        } else {
            ++problems;
            out << "  FAIL The host " << hostPath << " did not answer as a browser would start it: " << known->second
                << ". Fix: see the log in ~/.local/state/Marlin Web SDK/softphone.log.\n";
        }
    }
    out << (problems == 0 ? "Everything looks right.\n"
                          : std::to_string(problems) + (problems == 1 ? " problem" : " problems") + " found.\n");
    return problems == 0 ? 0 : 1;
}

}  // namespace tessel
