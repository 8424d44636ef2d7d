#include "ozklogger/OZKLogger.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/file.h>
#include <sys/stat.h>

struct OZKLogger {
    explicit OZKLogger(std::string moduleName) : module(std::move(moduleName)) {}
    const std::string module;
};

namespace {

const size_t kDefaultMaxBytes = 10 * 1024 * 1024;
const size_t kDefaultMaxFiles = 5;

// Logs hold phone numbers and host names: only the user may read them.
const mode_t kFolderMode = 0700;
const mode_t kFileMode = 0600;

struct State {
    std::mutex mutex;  // guards logger and modules
    std::shared_ptr<spdlog::logger> logger;
    std::map<std::string, std::unique_ptr<OZKLogger>> modules;

    int fileLockFd = -1;  // held while our file is in use (guarded by mutex)

    std::mutex sinkMutex;              // guards and serialises the test hook
    std::atomic<bool> hasSink{false};  // spares records the hook lock when unused
    OZKLoggerSinkFn sinkFn = nullptr;
    void* sinkCtx = nullptr;
};

// Never destroyed: threads that outlive main may still log while statics go away.
State& state() {
    static State* s = new State;
    return *s;
}

std::string errnoText(int code) {
    return std::strerror(code);
}

void reportDisabled(const std::string& path, const std::string& reason) {
    fprintf(stderr, "OZKLogger: cannot open log file '%s' (%s); logging disabled\n", path.c_str(), reason.c_str());
}

// Creates each missing parent folder of path with mode 0700. Folders that
// exist already are left as they are (they may be shared, like ~/.local).
bool makeParentFolders(const std::string& path, std::string& error) {
    size_t pos = 0;
    while ((pos = path.find('/', pos + 1)) != std::string::npos) {
        std::string folder = path.substr(0, pos);
        if (folder.empty() || folder.back() == '/') {
            continue;
        }
        if (mkdir(folder.c_str(), kFolderMode) == 0) {
            // mkdir honours the umask; the mode must not depend on it.
            chmod(folder.c_str(), kFolderMode);
            continue;
        }
        int code = errno;
        struct stat st;
        if (code == EEXIST && stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
            continue;
        }
        error = folder + ": " + errnoText(code == EEXIST ? ENOTDIR : code);
        return false;
    }
    return true;
}

// Creates the file 0600 before anyone else opens it, so that later opens
// (including the one after each rotation) find it private whatever the umask.
bool createPrivateFile(const std::string& path, std::string& error) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kFileMode);
    if (fd < 0) {
        error = errnoText(errno);
        return false;
    }
    fchmod(fd, kFileMode);
    close(fd);
    return true;
}

spdlog::level::level_enum toSpdLevel(int level) {
    if (level <= OZKLogLevelError) {
        return spdlog::level::err;
    }
    if (level <= OZKLogLevelWarning) {
        return spdlog::level::warn;
    }
    if (level == OZKLogLevelInfo) {
        return spdlog::level::info;
    }
    return spdlog::level::debug;
}

const char* levelName(int level) {
    switch (level) {
        case OZKLogLevelError:
            return "ERROR";
        case OZKLogLevelNotice:
            return "NOTICE";
        case OZKLogLevelWarning:
            return "WARN";
        case OZKLogLevelInfo:
            return "INFO";
        default:
            return level < OZKLogLevelError ? "ERROR" : "DEBUG";
    }
}

// Keeps a record on one line: line breaks in any field become \n and \r.
void appendEscaped(std::string& out, const char* text) {
    if (text == nullptr) {
        return;
    }
    for (const char* p = text; *p != '\0'; ++p) {
        switch (*p) {
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                out += *p;
                break;
        }
    }
}

// How many hosts of one user can each have a log of their own.
const int kMaxLogOwners = 8;

// path with "-n" before its extension ("softphone-2.log").
std::string numberedPath(const std::string& path, int n) {
    if (n <= 1) return path;
    const size_t slash = path.rfind('/');
    const size_t dot = path.rfind('.');
    const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash + 1);
    const std::string suffix = "-" + std::to_string(n);
    return hasExtension ? path.substr(0, dot) + suffix + path.substr(dot) : path + suffix;
}

// Two processes rotating one file would rename it under each other and lose
// records: each takes the first log whose lock file nobody holds. The lock
// sits beside the log because rotation renames the log itself. Returns the
// path to use and the descriptor that holds it (-1 when locking is not
// possible there: the plain path then, as before).
std::string claimLogPath(const std::string& path, int& lockFd) {
    lockFd = -1;
    for (int n = 1; n <= kMaxLogOwners; ++n) {
        const std::string candidate = numberedPath(path, n);
        const int fd = open((candidate + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kFileMode);
        if (fd < 0) return path;
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            lockFd = fd;
            return candidate;
        }
        close(fd);
    }
    return path;
}

void releaseLogLock(State& s) {
    if (s.fileLockFd >= 0) {
        close(s.fileLockFd);  // closing drops the lock
        s.fileLockFd = -1;
    }
}

std::shared_ptr<spdlog::logger> currentLogger() {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.logger;
}

void replaceLogger(std::shared_ptr<spdlog::logger> logger) {
    std::shared_ptr<spdlog::logger> old;
    {
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        old = s.logger;
        s.logger = std::move(logger);
    }
    if (old) {
        old->flush();
    }
}

}  // namespace

extern "C" {

int OZKLogger_initialize(const char* path) {
    return OZKLogger_initializeWithLimits(path, kDefaultMaxBytes, kDefaultMaxFiles);
}

int OZKLogger_initializeWithLimits(const char* path, size_t maxBytes, size_t maxFiles) {
    // Whatever happens below, records no longer go to an earlier file.
    replaceLogger(nullptr);

    {
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        releaseLogLock(s);
    }

    std::string filePath = path != nullptr ? path : "";
    if (filePath.empty()) {
        fprintf(stderr, "OZKLogger: no log file path; logging disabled\n");
        return -1;
    }
    if (maxBytes == 0) {
        reportDisabled(filePath, "rotation size must not be 0");
        return -1;
    }
    std::string error;
    if (!makeParentFolders(filePath, error)) {
        reportDisabled(filePath, error);
        return -1;
    }
    int lockFd = -1;
    filePath = claimLogPath(filePath, lockFd);
    if (!createPrivateFile(filePath, error)) {
        if (lockFd >= 0) close(lockFd);
        reportDisabled(filePath, error);
        return -1;
    }

    try {
        spdlog::file_event_handlers handlers;
        handlers.before_open = [](const spdlog::filename_t& name) {
            std::string ignored;
            createPrivateFile(name, ignored);
        };
        auto sink =
            std::make_shared<spdlog::sinks::rotating_file_sink_mt>(filePath, maxBytes, maxFiles, false, handlers);
        auto logger = std::make_shared<spdlog::logger>("ozklogger", sink);
        logger->set_pattern("%Y-%m-%d %H:%M:%S.%e [%t] %v");
        logger->set_level(spdlog::level::trace);
        // The host may be killed at any moment: everything but debug detail
        // goes to disk at once.
        logger->flush_on(spdlog::level::info);
        replaceLogger(logger);
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        s.fileLockFd = lockFd;
    } catch (const std::exception& e) {
        if (lockFd >= 0) close(lockFd);
        reportDisabled(filePath, e.what());
        return -1;
    }
    return 0;
}

void OZKLogger_shutdown(void) {
    replaceLogger(nullptr);
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    releaseLogLock(s);
}

OZKLogger* OZKLogger_getLogger(const char* moduleName) {
    std::string module = moduleName != nullptr ? moduleName : "";
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto& slot = s.modules[module];
    if (!slot) {
        slot.reset(new OZKLogger(module));
    }
    return slot.get();
}

void OZKLog(OZKLogger* logger, int level, const char* file, int line, const char* function, const char* text) {
    State& s = state();
    if (s.hasSink) {
        std::lock_guard<std::mutex> lock(s.sinkMutex);
        if (s.sinkFn != nullptr) {
            s.sinkFn(s.sinkCtx, logger, level, file != nullptr ? file : "", line, function != nullptr ? function : "",
                     text != nullptr ? text : "");
        }
    }

    std::shared_ptr<spdlog::logger> spLogger = currentLogger();
    if (!spLogger) {
        return;
    }
    std::string record;
    record.reserve(128 + (text != nullptr ? std::strlen(text) : 0));
    record += levelName(level);
    record += " [";
    appendEscaped(record, logger != nullptr ? logger->module.c_str() : "");
    record += "] ";
    appendEscaped(record, file);
    record += ':';
    record += std::to_string(line);
    record += ' ';
    appendEscaped(record, function);
    record += ": ";
    appendEscaped(record, text);
    spLogger->log(toSpdLevel(level), spdlog::string_view_t(record.data(), record.size()));
}

void OZKLogger_flush(void) {
    std::shared_ptr<spdlog::logger> spLogger = currentLogger();
    if (spLogger) {
        spLogger->flush();
    }
}

void OZKLogger_setSink(OZKLoggerSinkFn fn, void* ctx) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.sinkMutex);
    s.sinkFn = fn;
    s.sinkCtx = ctx;
    s.hasSink = fn != nullptr;
}

}  // extern "C"
