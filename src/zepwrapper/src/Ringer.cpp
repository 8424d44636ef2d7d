#include "Ringer.h"

#include "RingTones.h"
#include "ZepLog.h"
#include "zepwrapper/ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/Ringer";

void Ringer::update(bool ringingIn, bool ringingOut) {
    // An incoming call is the one the user must hear about.
    const Tone wanted = ringingIn ? Tone::Ring : ringingOut ? Tone::Ringback : Tone::None;
    if (wanted != m_tone) play(wanted);
}

void Ringer::onRingerDeviceChanged() {
    if (m_tone == Tone::Ring) play(Tone::Ring);
}

void Ringer::onRingerVolumeChanged() {
    int volume = 100;
    if (m_tone == Tone::Ring && m_devices.getVolume("ringer", volume) == ApiReturnCodeEnum::eNoError)
        m_sound.setLoopVolume(volume);
}

void Ringer::stop() {
    play(Tone::None);
}

void Ringer::play(Tone tone) {
    if (m_tone != Tone::None) {
        m_sound.stopLoop();
        ZEP_LOG(OZKLogLevelInfo, kSrc, (m_tone == Tone::Ring ? "ring" : "ringback") << " stopped");
    }
    m_tone = tone;
    if (tone == Tone::None) return;
    if (!m_sound.connected()) {
        if (!m_saidSilent) ZEP_LOG(OZKLogLevelInfo, kSrc, "no sound server: rings are not played");
        m_saidSilent = true;
        return;
    }
    int volume = 100;
    if (tone == Tone::Ring) {
        m_devices.getVolume("ringer", volume);
        m_sound.playLoop("ring", m_devices.chosenDeviceName(DeviceManager::Role::Ringer), RingTones::ring(),
                         RingTones::kSampleRate, volume);
    } else {
        m_devices.getVolume("speaker", volume);
        m_sound.playLoop("ringback", m_devices.chosenDeviceName(DeviceManager::Role::Playout), RingTones::ringback(),
                         RingTones::kSampleRate, volume);
    }
}

}  // namespace zep
}  // namespace tessel
