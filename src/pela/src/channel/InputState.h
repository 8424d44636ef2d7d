#pragma once

#include <atomic>
#include <memory>

namespace tessel {

// Whether the channel input has failed: a read could not deliver what it asked
// for (end of input or a read error). The reader sets it, the input-failure
// watcher polls it from its own thread; once set it stays set.
class InputState {
public:
    void setFailed() { m_failed.store(true); }
    bool isFailed() const { return m_failed.load(); }

    // The state of the process's standard input. Start-up builds the reader and
    // the watcher separately; both default to this one object.
    static std::shared_ptr<InputState> standardInput();

private:
    std::atomic<bool> m_failed{false};
};

}  // namespace tessel
