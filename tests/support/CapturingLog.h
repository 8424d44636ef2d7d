#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "logging/ILog.h"

namespace tessel {
namespace test {

// One record as a component logged it through OZKLog.
struct LogRecord {
    int level;
    std::string file;
    int line;
    std::string function;
    std::string text;  // with the "[pid] " prefix the components add
};

// An ILog whose records are kept in memory (they also reach the log file
// when one is open). Each instance has its own logger handle, so several may
// live at once and each sees only what was logged through it. Thread-safe.
class CapturingLog : public ILog {
public:
    CapturingLog();
    // Captures what is logged through the named module's handle instead (for
    // example "zep", the framework's); one instance per module at a time.
    explicit CapturingLog(const std::string& module);
    ~CapturingLog() override;
    CapturingLog(const CapturingLog&) = delete;
    CapturingLog& operator=(const CapturingLog&) = delete;

    OZKLogger* getOZKLogger() override;
    int getProcessID() override;

    std::vector<LogRecord> records() const;
    // The texts without the "[pid] " prefix, in order.
    std::vector<std::string> texts() const;
    // Whether / how many records contain needle in their text.
    bool contains(const std::string& needle) const;
    size_t count(const std::string& needle) const;
    // Position of the first record containing needle; std::string::npos if none.
    size_t indexOf(const std::string& needle) const;
    // True once count(needle) >= times; false after timeout.
    bool waitFor(const std::string& needle, std::chrono::milliseconds timeout, size_t times = 1) const;
    void clear();

    // Called by the library's record hook.
    void add(LogRecord record);

private:
    size_t countLocked(const std::string& needle) const;

    OZKLogger* m_pLogger;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_cond;
    std::vector<LogRecord> m_records;
};

}  // namespace test
}  // namespace tessel
