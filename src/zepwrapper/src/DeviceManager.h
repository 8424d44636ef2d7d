#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <zepwrapper/ZepMultimediaDevices.h>

#include "FrameworkContext.h"
#include "SoundServer.h"

typedef struct _LinphoneCall LinphoneCall;
typedef struct _LinphoneCore LinphoneCore;

namespace tessel {
namespace zep {

// The microphones, speakers, ringers and cameras the engine can use, and the
// device chosen for each role. A sound device's identifier is the engine's
// ("PulseAudio Unknown: <description>"), so it stays the same across runs as
// long as the sound server describes the device the same way; a camera's is
// the engine's camera name. Choices are kept in the engine's config file; a
// call under way is moved to a newly chosen microphone or speaker at once.
// Runs on the pumping thread.
class DeviceManager {
public:
    enum class Role { Recording, Playout, Ringer };

    DeviceManager(FrameworkContext context, SoundServer& sound) : m_context(context), m_sound(sound) {}

    // The engine does not take back its own record of the chosen sound
    // devices at start (it reads it before the sound server's devices are
    // known): ours is applied instead.
    void onEngineStarted();
    // Devices came or went: the engine looks again, a chosen device that is
    // gone gives way to the default (and takes over again when back), and
    // observers hear of it.
    void onDevicesChanged();
    // Runs on every pump: moves made at a choice are made again for a short
    // while, for the call's streams the sound server had not shown yet.
    void pump();

    int getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) const;
    // "" is the system's default device; an unknown identifier, or one that
    // cannot play the role, is eInvalidArgument.
    int setRecordingDevice(const std::string& id);
    int setPlayoutDevice(const std::string& id);
    int setRingerDevice(const std::string& id);
    int setCaptureDevice(const std::string& id);

    // Volumes, 0 to 100 (outside: eInvalidArgument), kept in the engine's
    // config. Speaker and microphone act on the calls' streams, which the
    // sound server turns into its stream volumes; the speaker's changes are
    // told to the media-device observers. The ringer's is kept for the ring.
    int setVolume(const char* role, int volume);
    // role: "speaker", "microphone" or "ringer"; 100 until one was set.
    int getVolume(const std::string& role, int& volume) const;
    // The sound server's description of the device chosen for the role, ""
    // for the default or when the chosen one is not there.
    std::string chosenDeviceName(Role role) const;
    // Something to record from and something to play to.
    static bool hasSoundCard(LinphoneCore* core);
    // Gives a call's streams the kept speaker and microphone volumes.
    static void applyVolumes(LinphoneCore* core, LinphoneCall* call);

private:
    int setSoundDevice(Role role, const std::string& id);
    // The engine's own setting of a role, without our record.
    static int setEngineDevice(LinphoneCore* core, Role role, const char* id);
    static std::string engineDevice(LinphoneCore* core, Role role);
    // Our record of the role's choice, "" for the default.
    std::string keptChoice(Role role) const;
    // Moves the calls' running streams to what the role now uses.
    void followChoice(Role role);

    FrameworkContext m_context;
    SoundServer& m_sound;
    // Until when, and next when, each role's move is made again.
    std::chrono::steady_clock::time_point m_followUntil[3]{};
    std::chrono::steady_clock::time_point m_followNext[3]{};
};

}  // namespace zep
}  // namespace tessel
