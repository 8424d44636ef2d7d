#include "logging/FileUtil.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace {

const char* const kLogFolder = "/Marlin Web SDK/";
const char* const kDefaultLogName = "softphone.log";

std::string homeFolder() {
    const char* home = getenv("HOME");
    if (home != nullptr && home[0] != '\0') {
        return home;
    }
    struct passwd* pw = getpwuid(getuid());
    if (pw != nullptr && pw->pw_dir != nullptr) {
        return pw->pw_dir;
    }
    return "";
}

// The user's state folder without a trailing slash: $XDG_STATE_HOME when it
// is an absolute path (a relative one is invalid and ignored), else
// ~/.local/state. False when there is neither.
bool stateFolder(std::string& folder) {
    const char* xdg = getenv("XDG_STATE_HOME");
    if (xdg != nullptr && xdg[0] == '/') {
        folder = xdg;
    } else {
        std::string home = homeFolder();
        if (home.empty()) {
            return false;
        }
        folder = home + "/.local/state";
    }
    while (!folder.empty() && folder.back() == '/') {
        folder.pop_back();
    }
    return true;
}

}  // namespace

std::string FileUtil::getLogFilePath(const std::string& fileName) {
    std::string folder;
    if (!stateFolder(folder)) {
        return "";
    }
    return folder + kLogFolder + (fileName.empty() ? kDefaultLogName : fileName);
}
