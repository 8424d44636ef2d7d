#include "platform/linux/ClientAuthWhitelist.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sys/file.h>
#include <sys/stat.h>

#include "logging/LogMacros.h"
#include "messages/FlatJsonObject.h"
#include "messages/StringUtil.h"
#include "threading/Mutex.h"
#include "threading/ScopedLock.h"

namespace tessel {

namespace {

const char* const kSrc = "src/pela/src/Linux/ClientAuthWhitelist";
const char* const kDomain = "com.norva.Tollbridge";
const char* const kKeyPrefix = "AlwaysAllow_";
const char* const kTrue = "true";
// Far beyond any real whitelist; a bigger file is not ours.
const off_t kMaxFileSize = 8 * 1024 * 1024;

// Never destroyed: a late answer thread may still reach it during exit.
ozk::Mutex& whitelistMutex() {
    static ozk::Mutex* const mutex = new ozk::Mutex();
    return *mutex;
}

std::string errnoText(int err) {
    return std::to_string(err) + " " + std::strerror(err);
}

std::string keyFor(const std::wstring& site) {
    return kKeyPrefix + StringUtil::wcsToUtf8(site);
}

std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

enum class ReadStatus { Ok, Missing, Bad };

// The file's text; Bad (with why) for anything we cannot use as it is.
ReadStatus readText(const std::string& path, std::string& text, std::string& why) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) {
            return ReadStatus::Missing;
        }
        why = "cannot open: " + errnoText(errno);
        return ReadStatus::Bad;
    }
    struct stat st;
    ReadStatus status = ReadStatus::Ok;
    if (fstat(fd, &st) != 0) {
        why = "cannot stat: " + errnoText(errno);
        status = ReadStatus::Bad;
    } else if (!S_ISREG(st.st_mode)) {
        why = "not a regular file";
        status = ReadStatus::Bad;
    } else if (st.st_size > kMaxFileSize) {
        why = "too large";
        status = ReadStatus::Bad;
    } else {
        text.clear();
        char buf[65536];
        for (;;) {
            const ssize_t n = read(fd, buf, sizeof buf);
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n < 0) {
                why = "cannot read: " + errnoText(errno);
                status = ReadStatus::Bad;
                break;
            }
            if (n == 0) {
                break;
            }
            text.append(buf, static_cast<size_t>(n));
            if (text.size() > static_cast<size_t>(kMaxFileSize)) {
                why = "too large";
                status = ReadStatus::Bad;
                break;
            }
        }
    }
    close(fd);
    return status;
}

// Reads and parses; Bad when the file exists but is unusable.
ReadStatus load(const std::string& path, FlatJsonObject& prefs, std::string& why) {
    std::string text;
    const ReadStatus status = readText(path, text, why);
    if (status != ReadStatus::Ok) {
        return status;
    }
    if (!FlatJsonObject::parse(text, prefs, why)) {
        why = "corrupt: " + why;
        return ReadStatus::Bad;
    }
    return ReadStatus::Ok;
}

bool makeFolder(const std::string& folder, ILog* log) {
    // Create missing parents too ($XDG_CONFIG_HOME need not exist yet).
    for (size_t pos = folder.find('/', 1); pos != std::string::npos; pos = folder.find('/', pos + 1)) {
        const std::string parent = folder.substr(0, pos);
        if (mkdir(parent.c_str(), 0700) != 0 && errno != EEXIST) {
            PELA_LOG4(log, kSrc, "Cannot create folder [" << parent << "] errno=" << errnoText(errno));
            return false;
        }
    }
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        PELA_LOG4(log, kSrc, "Cannot create folder [" << folder << "] errno=" << errnoText(errno));
        return false;
    }
    // Our own folder: keep it private even if something else made it.
    if (chmod(folder.c_str(), 0700) != 0) {
        PELA_LOG4(log, kSrc, "Cannot set mode of folder [" << folder << "] errno=" << errnoText(errno));
    }
    return true;
}

// Holds the lock file beside the preferences exclusively, across processes.
class FileLock {
public:
    FileLock(const std::string& path, ILog* log) : m_fd(-1) {
        if (!makeFolder(folderOf(path), log)) {
            return;
        }
        const std::string lockPath = path + ".lock";
        m_fd = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (m_fd < 0) {
            PELA_LOG4(log, kSrc, "Cannot open lock file [" << lockPath << "] errno=" << errnoText(errno));
            return;
        }
        int rc;
        do {
            rc = flock(m_fd, LOCK_EX);
        } while (rc != 0 && errno == EINTR);
        if (rc != 0) {
            PELA_LOG4(log, kSrc, "Cannot lock [" << lockPath << "] errno=" << errnoText(errno));
            close(m_fd);
            m_fd = -1;
        }
    }
    ~FileLock() {
        if (m_fd >= 0) {
            flock(m_fd, LOCK_UN);
            close(m_fd);
        }
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool locked() const { return m_fd >= 0; }

private:
    int m_fd;
};

// With the file lock held: moves an unusable file out of the way so that the
// next write starts afresh and the user's data stays on disk for a look.
void keepAside(const std::string& path, const std::string& why, ILog* log) {
    const std::string aside = path + ".corrupt";
    int rc = rename(path.c_str(), aside.c_str());
    if (rc != 0 && (errno == EISDIR || errno == ENOTDIR || errno == ENOTEMPTY || errno == EEXIST)) {
        // An older copy of another kind is in the way; the newest one matters.
        if (unlink(aside.c_str()) != 0) {
            rmdir(aside.c_str());
        }
        rc = rename(path.c_str(), aside.c_str());
    }
    if (rc == 0) {
        PELA_LOG4(
            log, kSrc,
            "Preferences [" << path << "] unusable (" << why << "); kept aside as [" << aside << "], starting empty");
    } else {
        PELA_LOG4(
            log, kSrc,
            "Preferences [" << path << "] unusable (" << why << "); cannot keep it aside errno=" << errnoText(errno));
    }
}

// With the file lock held: the current contents, an unusable file moved aside.
FlatJsonObject loadLocked(const std::string& path, ILog* log) {
    FlatJsonObject prefs;
    std::string why;
    if (load(path, prefs, why) == ReadStatus::Bad) {
        keepAside(path, why, log);
        prefs = FlatJsonObject();
    }
    return prefs;
}

bool writeAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

// With the file lock held: readers see either the old or the new file, never
// a half-written one, and a crash leaves at most a stray temporary file.
bool storeLocked(const std::string& path, const FlatJsonObject& prefs, ILog* log) {
    std::string tmp = path + ".XXXXXX";
    std::vector<char> name(tmp.begin(), tmp.end());
    name.push_back('\0');
    const int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) {
        PELA_LOG4(log, kSrc, "Cannot create temporary file for [" << path << "] errno=" << errnoText(errno));
        return false;
    }
    tmp = name.data();
    bool ok = fchmod(fd, 0600) == 0 && writeAll(fd, prefs.serialize()) && fsync(fd) == 0;
    const int err = errno;
    if (close(fd) != 0) {
        ok = false;
    }
    if (ok && rename(tmp.c_str(), path.c_str()) != 0) {
        ok = false;
    }
    if (!ok) {
        PELA_LOG4(log, kSrc, "Cannot write preferences [" << path << "] errno=" << errnoText(err ? err : errno));
        unlink(tmp.c_str());
        return false;
    }
    const int dirFd = open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        fsync(dirFd);
        close(dirFd);
    }
    return true;
}

bool isWhitelistedLocked(const std::wstring& site, ILog* log) {
    if (site.empty()) {
        return false;
    }
    const std::string path = ClientAuthWhitelist::getPreferencesPath();
    if (path.empty()) {
        PELA_LOG4(log, kSrc, "No home folder; no preferences for " << kDomain);
        return false;
    }
    // Re-read every time: another host process may have changed the file.
    FlatJsonObject prefs;
    std::string why;
    const ReadStatus status = load(path, prefs, why);
    if (status == ReadStatus::Bad) {
        FileLock lock(path, log);
        if (lock.locked()) {
            // Look again under the lock: a writer may just have fixed it.
            prefs = loadLocked(path, log);
        } else {
            PELA_LOG4(log, kSrc, "Preferences [" << path << "] unusable (" << why << ")");
            return false;
        }
    }
    const std::string* value = prefs.find(keyFor(site));
    return value != nullptr && *value == kTrue;
}

}  // namespace

std::string ClientAuthWhitelist::getPreferencesPath() {
    std::string base;
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    // Relative values are invalid and must be ignored.
    if (xdg != nullptr && xdg[0] == '/') {
        base = xdg;
    } else {
        const char* home = std::getenv("HOME");
        std::string homeDir;
        if (home != nullptr && home[0] == '/') {
            homeDir = home;
        } else {
            struct passwd pw;
            struct passwd* result = nullptr;
            std::vector<char> buf(16384);
            if (getpwuid_r(getuid(), &pw, buf.data(), buf.size(), &result) == 0 && result != nullptr &&
                result->pw_dir != nullptr && result->pw_dir[0] == '/') {
                homeDir = result->pw_dir;
            }
        }
        if (homeDir.empty()) {
            return std::string();
        }
        base = homeDir + "/.config";
    }
    while (base.size() > 1 && base.back() == '/') {
        base.pop_back();
    }
    return base + "/" + kDomain + "/preferences.json";
}

bool ClientAuthWhitelist::isSiteWhitelisted(const std::wstring& site, ILog* log) {
    ozk::ScopedLock lock(whitelistMutex());
    const bool whitelisted = isWhitelistedLocked(site, log);
    PELA_LOG4(log, kSrc,
              "isSiteWhitelisted site=[" << StringUtil::wcsToUtf8(site) << "] -> " << (whitelisted ? "true" : "false"));
    return whitelisted;
}

void ClientAuthWhitelist::whitelistSite(const std::wstring& site, ILog* log) {
    ozk::ScopedLock lock(whitelistMutex());
    PELA_LOG4(log, kSrc, "whitelistSite site=[" << StringUtil::wcsToUtf8(site) << "]");
    if (site.empty()) {
        PELA_LOG4(log, kSrc, "UNEXPECTED whitelistSite empty site. Nothing stored.");
        return;
    }
    if (isSiteWhitelisted(site, log)) {
        return;
    }
    const std::string path = getPreferencesPath();
    if (path.empty()) {
        return;
    }
    FileLock fileLock(path, log);
    if (!fileLock.locked()) {
        return;
    }
    FlatJsonObject prefs = loadLocked(path, log);
    prefs.set(keyFor(site), kTrue);
    storeLocked(path, prefs, log);
}

void ClientAuthWhitelist::unWhitelistSite(const std::wstring& site, ILog* log) {
    ozk::ScopedLock lock(whitelistMutex());
    PELA_LOG4(log, kSrc, "unWhitelistSite site=[" << StringUtil::wcsToUtf8(site) << "]");
    if (!isSiteWhitelisted(site, log)) {
        return;
    }
    const std::string path = getPreferencesPath();
    FileLock fileLock(path, log);
    if (!fileLock.locked()) {
        return;
    }
    FlatJsonObject prefs = loadLocked(path, log);
    const std::string key = keyFor(site);
    const std::string* value = prefs.find(key);
    // Someone may have removed or changed it since we looked.
    if (value != nullptr && *value == kTrue) {
        prefs.erase(key);
        storeLocked(path, prefs, log);
    }
}

namespace {

class PreferencesFileWhitelist : public SiteWhitelist {
public:
    bool isSiteWhitelisted(const std::wstring& site, ILog* log) override {
        return ClientAuthWhitelist::isSiteWhitelisted(site, log);
    }
    void whitelistSite(const std::wstring& site, ILog* log) override { ClientAuthWhitelist::whitelistSite(site, log); }
    void unWhitelistSite(const std::wstring& site, ILog* log) override {
        ClientAuthWhitelist::unWhitelistSite(site, log);
    }
};

}  // namespace

std::shared_ptr<SiteWhitelist> SiteWhitelist::createDesktopWhitelist() {
    return std::make_shared<PreferencesFileWhitelist>();
}

}  // namespace tessel
