#pragma once

#include <string>

#include "LockFile.h"

namespace tessel {
namespace zep {

// One running framework per state folder: two hosts (two browsers, or two
// profiles of one) would otherwise share the engine's files and SIP account.
// An advisory lock on a file in the folder, held while the framework runs;
// the system drops it when the process dies, however it dies.
class StateLock {
public:
    StateLock() = default;
    ~StateLock();
    StateLock(const StateLock&) = delete;
    StateLock& operator=(const StateLock&) = delete;

    // Takes the lock of folder without waiting. False when another process
    // holds it (holder then names it, "pid N" when known) or the lock file
    // cannot be used (holder then says why).
    bool acquire(const std::string& folder, std::string& holder);
    void release();
    bool held() const { return m_file.locked(); }

private:
    LockFile m_file;
};

}  // namespace zep
}  // namespace tessel
