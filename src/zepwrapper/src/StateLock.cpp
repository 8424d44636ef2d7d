#include "StateLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <sys/file.h>

namespace tessel {
namespace zep {

namespace {
const char* const kLockName = "/host.lock";
}  // namespace

StateLock::~StateLock() {
    release();
}

bool StateLock::acquire(const std::string& folder, std::string& holder) {
    if (m_fd >= 0) return true;
    const std::string path = folder + kLockName;
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        holder = "cannot open [" + path + "]: " + std::strerror(errno);
        return false;
    }
    int rc;
    do {
        rc = flock(fd, LOCK_EX | LOCK_NB);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) {
        const int err = errno;
        if (err == EWOULDBLOCK) {
            // The holder wrote its process id when it took the lock.
            char buffer[32] = {};
            const ssize_t n = pread(fd, buffer, sizeof(buffer) - 1, 0);
            const std::string pid = n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
            holder = pid.find_first_not_of("0123456789") == std::string::npos && !pid.empty() ? "pid " + pid
                                                                                              : "unknown process";
        } else {
            holder = "cannot lock [" + path + "]: " + std::strerror(err);
        }
        close(fd);
        return false;
    }
    // Should this fail only the holder's name is lost; the lock is what counts.
    const std::string pid = std::to_string(getpid());
    const bool named =
        ftruncate(fd, 0) == 0 && pwrite(fd, pid.data(), pid.size(), 0) == static_cast<ssize_t>(pid.size());
    (void)named;
    m_fd = fd;
    return true;
}

void StateLock::release() {
    if (m_fd < 0) return;
    // Emptied first: a pid left behind would name a process that let go.
    const bool emptied = ftruncate(m_fd, 0) == 0;
    (void)emptied;
    flock(m_fd, LOCK_UN);
    close(m_fd);
    m_fd = -1;
}

}  // namespace zep
}  // namespace tessel
