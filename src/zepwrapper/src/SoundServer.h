#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tessel {
namespace zep {

// Our own connection to the desktop's PulseAudio server (or PipeWire's
// PulseAudio service), for what the engine cannot do over its own: hear
// devices come and go, move a running call's streams to another device, and
// play the ring at a volume of its own. It runs libpulse's loop on one thread
// ("zep-sound"); every method is called from the pumping thread.
class SoundServer {
public:
    enum class Direction { Playback, Recording };

    SoundServer();
    ~SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    // Connects to the server the desktop names (PULSE_SERVER or the user's
    // own), never starting one. onDevicesChanged runs on the sound thread,
    // once a burst of devices plugged in or out has settled.
    bool connect(std::function<void()> onDevicesChanged);
    void disconnect();
    bool connected() const;

    // Moves this process's running streams of that direction (not the ring)
    // to the device with that description, "" for the server's default.
    // The number moved, or -1 when there is no such device.
    int moveStreams(Direction direction, const std::string& description);

    // Plays mono 16-bit samples in a loop on the output device with that
    // description ("" for the default), at volume 0-100 (linear amplitude in
    // percent); replaces any loop playing. name shows in the server's stream
    // list ("ring", "ringback").
    bool playLoop(const std::string& name, const std::string& description, std::vector<int16_t> samples, int sampleRate,
                  int volume);
    void setLoopVolume(int volume);
    void stopLoop();
    bool loopPlaying() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace zep
}  // namespace tessel
