#include "StateFolder.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <sys/stat.h>
#include <sys/types.h>

namespace tessel {
namespace zep {

namespace {

const char* const kVendorFolder = "Marlin Web SDK";
const char* const kFrameworkFolder = "zep";

bool isAbsolute(const char* path) {
    return path != nullptr && path[0] == '/';
}

std::string homeFolder() {
    const char* home = std::getenv("HOME");
    if (isAbsolute(home)) return home;
    // Without HOME, the password database still knows the user's home.
    std::vector<char> buffer(16384);
    struct passwd pw;
    struct passwd* result = nullptr;
    if (getpwuid_r(getuid(), &pw, buffer.data(), buffer.size(), &result) == 0 && result != nullptr &&
        isAbsolute(result->pw_dir)) {
        return result->pw_dir;
    }
    return std::string();
}

std::string describeErrno(const std::string& what, const std::string& path, int err) {
    return what + " [" + path + "]: " + std::strerror(err);
}

// mkdir that accepts an existing folder (but not an existing file).
bool ensureFolder(const std::string& path, std::string& error) {
    if (mkdir(path.c_str(), 0700) == 0) return true;
    int err = errno;
    struct stat st;
    if (err == EEXIST && stat(path.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) return true;
        error = "not a folder [" + path + "]";
        return false;
    }
    error = describeErrno("cannot create folder", path, err);
    return false;
}

// Our own folders hold credentials later on: nobody else may look inside.
bool makePrivate(const std::string& path, std::string& error) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        error = describeErrno("cannot inspect folder", path, errno);
        return false;
    }
    if ((st.st_mode & 07777) != 0700 && chmod(path.c_str(), 0700) != 0) {
        error = describeErrno("cannot make folder private", path, errno);
        return false;
    }
    return true;
}

}  // namespace

std::string StateFolder::locate(std::string& error) {
    std::string base;
    const char* stateHome = std::getenv("XDG_STATE_HOME");
    // A relative XDG_STATE_HOME is invalid and must be ignored.
    if (isAbsolute(stateHome)) {
        base = stateHome;
    } else {
        std::string home = homeFolder();
        if (home.empty()) {
            error = "neither XDG_STATE_HOME nor a home folder is set";
            return std::string();
        }
        base = home + "/.local/state";
    }
    while (!base.empty() && base.back() == '/') base.pop_back();
    return base + "/" + kVendorFolder + "/" + kFrameworkFolder;
}

bool StateFolder::prepare(std::string& path, std::string& error) {
    std::string folder = locate(error);
    if (folder.empty()) return false;

    // Create every missing level from the root down.
    for (size_t pos = folder.find('/', 1); pos != std::string::npos; pos = folder.find('/', pos + 1)) {
        if (!ensureFolder(folder.substr(0, pos), error)) return false;
    }
    if (!ensureFolder(folder, error)) return false;

    const std::string vendor = folder.substr(0, folder.rfind('/'));
    if (!makePrivate(vendor, error) || !makePrivate(folder, error)) return false;
    if (access(folder.c_str(), R_OK | W_OK | X_OK) != 0) {
        error = describeErrno("cannot write in folder", folder, errno);
        return false;
    }
    path = folder;
    return true;
}

}  // namespace zep
}  // namespace tessel
