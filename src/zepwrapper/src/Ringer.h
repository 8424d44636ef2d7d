#pragma once

#include "DeviceManager.h"
#include "SoundServer.h"

namespace tessel {
namespace zep {

// Plays the ring while a call rings in (on the ringer device, at the ringer
// volume) and the ring-back while our call rings at the far end (on the
// speaker, at the speaker volume), and stops them when that is over. The
// engine's own ring cannot do either on PulseAudio. Runs on the pumping thread.
class Ringer {
public:
    Ringer(SoundServer& sound, const DeviceManager& devices) : m_sound(sound), m_devices(devices) {}

    // What the calls do now; called on every change of a call's state.
    void update(bool ringingIn, bool ringingOut);
    // A ring under way follows the ringer's new device or volume.
    void onRingerDeviceChanged();
    void onRingerVolumeChanged();
    void stop();

private:
    enum class Tone { None, Ring, Ringback };
    void play(Tone tone);

    SoundServer& m_sound;
    const DeviceManager& m_devices;
    Tone m_tone = Tone::None;
    bool m_saidSilent = false;
};

}  // namespace zep
}  // namespace tessel
