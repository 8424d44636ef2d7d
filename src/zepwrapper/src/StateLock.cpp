#include "StateLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace tessel {
namespace zep {

namespace {
const char* const kLockName = "/host.lock";
}  // namespace

StateLock::~StateLock() {
    release();
}

bool StateLock::acquire(const std::string& folder, std::string& holder) {
    if (m_file.locked()) return true;
    switch (m_file.lock(folder + kLockName, LockFile::Wait::No, holder)) {
        case LockFile::Outcome::Failed:
            return false;
        case LockFile::Outcome::HeldElsewhere: {
            // The holder wrote its process id when it took the lock.
            char buffer[32] = {};
            const ssize_t n = pread(m_file.fd(), buffer, sizeof(buffer) - 1, 0);
            const std::string pid = n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
            holder = pid.find_first_not_of("0123456789") == std::string::npos && !pid.empty() ? "pid " + pid
                                                                                              : "unknown process";
            m_file.unlock();
            return false;
        }
        case LockFile::Outcome::Locked:
            break;
    }
    // Should this fail only the holder's name is lost; the lock is what counts.
    const std::string pid = std::to_string(getpid());
    const bool named = ftruncate(m_file.fd(), 0) == 0 &&
                       pwrite(m_file.fd(), pid.data(), pid.size(), 0) == static_cast<ssize_t>(pid.size());
    (void)named;
    return true;
}

void StateLock::release() {
    if (!m_file.locked()) return;
    // Emptied first: a pid left behind would name a process that let go.
    const bool emptied = ftruncate(m_file.fd(), 0) == 0;
    (void)emptied;
    m_file.unlock();
}

}  // namespace zep
}  // namespace tessel
