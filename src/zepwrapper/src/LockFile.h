#pragma once

#include <string>

namespace tessel {
namespace zep {

// An exclusive advisory lock on a file (created 0600, never through a
// symbolic link), for work that several processes of one user share. The
// system drops the lock when the process dies, however it dies.
class LockFile {
public:
    enum class Wait { Yes, No };
    enum class Outcome { Locked, HeldElsewhere, Failed };

    LockFile() = default;
    ~LockFile();
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    // Opens path and takes its lock, waiting for another holder or not.
    // On Failed, error says why.
    Outcome lock(const std::string& path, Wait wait, std::string& error);
    void unlock();
    bool locked() const { return m_fd >= 0 && m_locked; }
    // The open file, valid once lock() was called and until unlock();
    // -1 otherwise. Also open when another process held the lock.
    int fd() const { return m_fd; }

private:
    int m_fd = -1;
    bool m_locked = false;
};

}  // namespace zep
}  // namespace tessel
