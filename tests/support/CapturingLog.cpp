#include "CapturingLog.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <map>

namespace tessel {
namespace test {

namespace {

// Live instances by logger handle. The library hook is installed once and
// never removed, so this mutex is only ever taken inside the library's hook
// lock, never around it.
std::mutex& registryMutex() {
    static std::mutex* m = new std::mutex;
    return *m;
}

std::map<OZKLogger*, CapturingLog*>& registry() {
    static auto* r = new std::map<OZKLogger*, CapturingLog*>;
    return *r;
}

void hook(void*, OZKLogger* logger, int level, const char* file, int line, const char* function, const char* text) {
    std::lock_guard<std::mutex> lock(registryMutex());
    auto it = registry().find(logger);
    if (it != registry().end()) {
        it->second->add(LogRecord{level, file, line, function, text});
    }
}

void installHookOnce() {
    static std::once_flag once;
    std::call_once(once, [] { OZKLogger_setSink(&hook, nullptr); });
}

std::string withoutPrefix(const std::string& text) {
    const size_t end = text.find("] ");
    return !text.empty() && text[0] == '[' && end != std::string::npos ? text.substr(end + 2) : text;
}

}  // namespace

namespace {
std::string freshModule() {
    static std::atomic<int> next{0};
    return "capture-" + std::to_string(next++);
}
}  // namespace

CapturingLog::CapturingLog() : CapturingLog(freshModule()) {}

CapturingLog::CapturingLog(const std::string& module) {
    m_pLogger = OZKLogger_getLogger(module.c_str());
    installHookOnce();
    std::lock_guard<std::mutex> lock(registryMutex());
    registry()[m_pLogger] = this;
}

CapturingLog::~CapturingLog() {
    std::lock_guard<std::mutex> lock(registryMutex());
    registry().erase(m_pLogger);
}

OZKLogger* CapturingLog::getOZKLogger() {
    return m_pLogger;
}

int CapturingLog::getProcessID() {
    return static_cast<int>(getpid());
}

void CapturingLog::add(LogRecord record) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_records.push_back(std::move(record));
    }
    m_cond.notify_all();
}

std::vector<LogRecord> CapturingLog::records() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records;
}

std::vector<std::string> CapturingLog::texts() const {
    std::vector<std::string> out;
    for (const auto& record : records()) out.push_back(withoutPrefix(record.text));
    return out;
}

bool CapturingLog::contains(const std::string& needle) const {
    return indexOf(needle) != std::string::npos;
}

size_t CapturingLog::count(const std::string& needle) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return countLocked(needle);
}

size_t CapturingLog::countLocked(const std::string& needle) const {
    return std::count_if(m_records.begin(), m_records.end(),
                         [&](const LogRecord& r) { return r.text.find(needle) != std::string::npos; });
}

size_t CapturingLog::indexOf(const std::string& needle) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = std::find_if(m_records.begin(), m_records.end(),
                           [&](const LogRecord& r) { return r.text.find(needle) != std::string::npos; });
    return it == m_records.end() ? std::string::npos : static_cast<size_t>(it - m_records.begin());
}

bool CapturingLog::waitFor(const std::string& needle, std::chrono::milliseconds timeout, size_t times) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cond.wait_for(lock, timeout, [&] { return countLocked(needle) >= times; });
}

void CapturingLog::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
}

}  // namespace test
}  // namespace tessel
