#include "platform/linux/NativeHostRegistration.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <sys/stat.h>

namespace tessel {

const char* const NativeHostRegistration::kHostName = "com.norva.pelahost";
// Fixed by the public key in the extension's manifest.
const char* const NativeHostRegistration::kExtensionId = "lmnahaiacchplepagfbmjmnhciglnagc";

namespace {

bool isDirectory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// mkdir -p; true when the folder is there at the end.
bool makeFolders(const std::string& path) {
    std::string partial;
    std::istringstream parts(path);
    for (std::string part; std::getline(parts, part, '/');) {
        partial += part + "/";
        if (part.empty()) continue;
        if (mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) return false;
    }
    return isDirectory(path);
}

std::string parentOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string NativeHostRegistration::extensionOrigin() {
    return std::string("chrome-extension://") + kExtensionId + "/";
}

const std::vector<BrowserFolders>& NativeHostRegistration::browsers() {
    static const std::vector<BrowserFolders> kBrowsers = {
        {"chromium", "Chromium", "chromium", "/etc/chromium/native-messaging-hosts", "chromium",
         "org.chromium.Chromium"},
        {"chrome", "Google Chrome", "google-chrome", "/etc/opt/chrome/native-messaging-hosts", "", "com.google.Chrome"},
        {"brave", "Brave", "BraveSoftware/Brave-Browser", "/etc/opt/chrome/native-messaging-hosts", "brave",
         "com.brave.Browser"},
        {"edge", "Microsoft Edge", "microsoft-edge", "/etc/opt/edge/native-messaging-hosts", "", "com.microsoft.Edge"},
        {"vivaldi", "Vivaldi", "vivaldi", "/etc/opt/vivaldi/native-messaging-hosts", "", "com.vivaldi.Vivaldi"},
    };
    return kBrowsers;
}

std::string NativeHostRegistration::userConfigRoot() {
    const char* xdg = getenv("XDG_CONFIG_HOME");
    if (xdg != nullptr && xdg[0] == '/') return xdg;
    const char* home = getenv("HOME");
    return std::string(home != nullptr ? home : "") + "/.config";
}

std::string NativeHostRegistration::manifestFolder(const BrowserFolders& browser, bool system) {
    return system ? browser.systemDir : userConfigRoot() + "/" + browser.configDir + "/NativeMessagingHosts";
}

std::string NativeHostRegistration::manifestPath(const BrowserFolders& browser, bool system) {
    return manifestFolder(browser, system) + "/" + kHostName + ".json";
}

std::string NativeHostRegistration::manifestText(const std::string& hostPath) {
    boost::property_tree::ptree manifest;
    manifest.put("name", kHostName);
    manifest.put("description", "Softphone host for web pages");
    manifest.put("path", hostPath);
    manifest.put("type", "stdio");
    boost::property_tree::ptree origins;
    origins.push_back({"", boost::property_tree::ptree(extensionOrigin())});
    manifest.add_child("allowed_origins", origins);
    std::ostringstream out;
    boost::property_tree::write_json(out, manifest, true);
    return out.str();
}

std::string NativeHostRegistration::selfPath() {
    char buffer[4096];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
    return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

bool NativeHostRegistration::parse(const std::vector<std::string>& args, Choice& choice, std::ostream& err) {
    std::string wanted;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--system") {
            choice.system = true;
        } else if (args[i] == "--browser" && i + 1 < args.size()) {
            wanted = args[++i];
            choice.explicitBrowser = true;
        } else {
            err << "Unknown option [" << args[i]
                << "]: use --browser chromium|chrome|brave|edge|vivaldi|all and --system.\n";
            return false;
        }
    }
    for (const BrowserFolders& browser : browsers()) {
        if (wanted == "all" || wanted == browser.id) {
            choice.browsers.push_back(&browser);
        } else if (wanted.empty()) {
            // The browsers this user (or this machine) has.
            const std::string home =
                choice.system ? parentOf(browser.systemDir) : userConfigRoot() + "/" + browser.configDir;
            if (isDirectory(home)) choice.browsers.push_back(&browser);
        }
    }
    if (!wanted.empty() && choice.browsers.empty()) {
        err << "Unknown browser [" << wanted << "]: use chromium, chrome, brave, edge, vivaldi or all.\n";
        return false;
    }
    if (choice.browsers.empty()) choice.browsers.push_back(&browsers().front());
    return true;
}

int NativeHostRegistration::install(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    Choice choice;
    if (!parse(args, choice, err)) return 2;
    const std::string self = selfPath();
    if (self.empty()) {
        err << "Cannot tell where this program is (/proc/self/exe is unreadable): nothing installed.\n";
        return 1;
    }
    const std::string text = manifestText(self);
    int status = 0;
    for (const BrowserFolders* browser : choice.browsers) {
        const std::string folder = manifestFolder(*browser, choice.system);
        const std::string path = manifestPath(*browser, choice.system);
        if (!makeFolders(folder)) {
            err << browser->label << ": cannot create " << folder << " (" << std::strerror(errno) << ")."
                << (choice.system ? " Run as root for --system." : "") << "\n";
            status = 1;
            continue;
        }
        // Written aside and renamed, so a browser never reads half a file.
        const std::string partial = path + ".partial";
        {
            std::ofstream file(partial, std::ios::trunc);
            file << text;
            if (!file.flush()) {
                err << browser->label << ": cannot write " << partial << ".\n";
                status = 1;
                continue;
            }
        }
        chmod(partial.c_str(), 0644);
        if (rename(partial.c_str(), path.c_str()) != 0) {
            err << browser->label << ": cannot write " << path << " (" << std::strerror(errno) << ").\n";
            unlink(partial.c_str());
            status = 1;
            continue;
        }
        out << browser->label << ": registered " << path << "\n";
    }
    return status;
}

int NativeHostRegistration::uninstall(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    Choice choice;
    if (!parse(args, choice, err)) return 2;
    int status = 0;
    for (const BrowserFolders* browser : choice.browsers) {
        const std::string path = manifestPath(*browser, choice.system);
        if (unlink(path.c_str()) == 0) {
            out << browser->label << ": removed " << path << "\n";
        } else if (errno == ENOENT) {
            out << browser->label << ": nothing registered at " << path << "\n";
        } else {
            err << browser->label << ": cannot remove " << path << " (" << std::strerror(errno) << ").\n";
            status = 1;
        }
    }
    return status;
}

}  // namespace tessel
