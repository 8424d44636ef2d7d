#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <sys/types.h>

namespace pelatest {
class TempDir;
}

namespace tessel {
namespace test {

// A private PulseAudio sound server, as a desktop has one: two speakers
// (null sinks "speakers", the default, and "headset") and a microphone
// ("mic", a 1 kHz sine source, the default). Anonymous access on a socket in a
// private folder; no autospawn, nothing of the machine's own sound. Missing
// or failing to start is an error, never a reason to skip.
class PulseFixture {
public:
    PulseFixture();
    ~PulseFixture();
    PulseFixture(const PulseFixture&) = delete;
    PulseFixture& operator=(const PulseFixture&) = delete;

    bool start(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    void stop();
    // For PULSE_SERVER: "unix:<socket>".
    std::string server() const;
    // Output of "pactl <args>" against this server ("" when it fails).
    std::string pactl(const std::string& args) const;
    // Records about `seconds` of a source ("speakers.monitor") to a mono 8 kHz
    // WAV file; false when nothing was recorded.
    bool record(const std::string& source, int seconds, const std::string& wavPath) const;
    const std::string& error() const { return m_error; }
    // The server's process, -1 when not running.
    pid_t pid() const { return m_pid; }

private:
    std::unique_ptr<pelatest::TempDir> m_pDir;
    pid_t m_pid = -1;
    std::string m_error;
};

}  // namespace test
}  // namespace tessel
