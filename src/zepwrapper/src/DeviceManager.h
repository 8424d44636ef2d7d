#pragma once

#include <memory>
#include <string>
#include <vector>

#include <zepwrapper/ZepMultimediaDevices.h>

#include "FrameworkContext.h"

typedef struct _LinphoneCall LinphoneCall;
typedef struct _LinphoneCore LinphoneCore;

namespace tessel {
namespace zep {

// The microphones, speakers, ringers and cameras the engine can use, and the
// device chosen for each role. A sound device's identifier is the engine's
// ("PulseAudio Unknown: <description>"), so it stays the same across runs as
// long as the sound server describes the device the same way; a camera's is
// the engine's camera name. Choices are kept in the engine's config file and
// apply from the next call. Runs on the pumping thread.
class DeviceManager {
public:
    explicit DeviceManager(FrameworkContext context) : m_context(context) {}

    // The engine does not take back its own record of the chosen sound
    // devices at start (it reads it before the sound server's devices are
    // known): ours is applied instead.
    void onEngineStarted();

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
    // Something to record from and something to play to.
    static bool hasSoundCard(LinphoneCore* core);
    // Gives a call's streams the kept speaker and microphone volumes.
    static void applyVolumes(LinphoneCore* core, LinphoneCall* call);

private:
    enum class Role { Recording, Playout, Ringer };
    int setSoundDevice(Role role, const std::string& id);

    FrameworkContext m_context;
};

}  // namespace zep
}  // namespace tessel
