#include "ConfigFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

namespace tessel {
namespace zep {

std::string ConfigFolder::locate(std::string& error) {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg != nullptr && xdg[0] == '/') return std::string(xdg) + "/com.norva.Tollbridge";
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') return std::string(home) + "/.config/com.norva.Tollbridge";
    error = "no config folder (neither XDG_CONFIG_HOME nor HOME)";
    return std::string();
}

bool ConfigFolder::prepare(std::string& path, std::string& error) {
    path = locate(error);
    if (path.empty()) return false;
    const std::string base = path.substr(0, path.rfind('/'));
    for (const std::string& dir : {base, path}) {
        if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
            error = "cannot create [" + dir + "]: " + std::strerror(errno);
            path.clear();
            return false;
        }
    }
    // An older folder made with a looser mode is tightened.
    chmod(path.c_str(), 0700);
    return true;
}

}  // namespace zep
}  // namespace tessel
