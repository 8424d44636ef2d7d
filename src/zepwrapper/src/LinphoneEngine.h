#pragma once

#include <string>

typedef struct _LinphoneCore LinphoneCore;

namespace tessel {
namespace zep {

// Owns the one liblinphone core while the framework runs. liblinphone is not
// thread-safe: every call, the pumping included, comes from the host's
// pumping thread. The account/registration and call managers that come next
// attach their own core callbacks through core().
class LinphoneEngine {
public:
    LinphoneEngine() = default;
    ~LinphoneEngine();
    LinphoneEngine(const LinphoneEngine&) = delete;
    LinphoneEngine& operator=(const LinphoneEngine&) = delete;

    // Creates and starts the core with its files in folder (no trailing
    // slash). Returns false, with nothing left running, when it cannot.
    bool start(const std::string& folder, std::string& error);
    // Stops and releases the core; nothing when not running.
    void stop();
    bool isRunning() const { return m_pCore != nullptr; }
    // One round of the engine's own work: timers, sockets, callbacks.
    void iterate();

    // Null when not running.
    LinphoneCore* core() const { return m_pCore; }
    // The folder of its files (no trailing slash); "" when not running.
    const std::string& folder() const { return m_folder; }

private:
    void configure();

    LinphoneCore* m_pCore = nullptr;
    std::string m_folder;
};

}  // namespace zep
}  // namespace tessel
