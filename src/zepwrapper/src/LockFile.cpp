#include "LockFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <sys/file.h>

namespace tessel {
namespace zep {

LockFile::~LockFile() {
    unlock();
}

LockFile::Outcome LockFile::lock(const std::string& path, Wait wait, std::string& error) {
    unlock();
    m_fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_fd < 0) {
        error = "cannot open [" + path + "]: " + std::strerror(errno);
        return Outcome::Failed;
    }
    int rc;
    do {
        rc = flock(m_fd, LOCK_EX | (wait == Wait::No ? LOCK_NB : 0));
    } while (rc != 0 && errno == EINTR);  // a signal during the wait is no reason to give up
    if (rc == 0) {
        m_locked = true;
        return Outcome::Locked;
    }
    if (errno == EWOULDBLOCK) return Outcome::HeldElsewhere;
    error = "cannot lock [" + path + "]: " + std::strerror(errno);
    unlock();
    return Outcome::Failed;
}

void LockFile::unlock() {
    if (m_fd < 0) return;
    if (m_locked) flock(m_fd, LOCK_UN);
    close(m_fd);
    m_fd = -1;
    m_locked = false;
}

}  // namespace zep
}  // namespace tessel
