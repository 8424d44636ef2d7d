#include "DeviceManager.h"

#include <linphone/core.h>
#include <mediastreamer2/mediastream.h>
#include <mediastreamer2/msfactory.h>
#include <mediastreamer2/mssndcard.h>
#include <mediastreamer2/mswebcam.h>
#include <zepwrapper/ZepMediaDeviceObserver.h>

#include "zepwrapper/ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/DeviceManager";

namespace {

const char* const kVolumeSection = "zep";
// Where we keep the chosen sound device of each role, by Role's order.
const char* const kChoiceKeys[] = {"recording_device", "playout_device", "ringer_device"};

bool knownRole(const std::string& role) {
    return role == "speaker" || role == "microphone" || role == "ringer";
}

int keptVolume(LinphoneCore* core, const std::string& role) {
    return linphone_config_get_int(linphone_core_get_config(core), kVolumeSection, (role + "_volume").c_str(), 100);
}

std::string text(const char* s) {
    return s != nullptr ? s : "";
}

// What a sound device can do, from mediastreamer's card: the device's own
// field is not set for a card that can do neither.
unsigned int capabilities(LinphoneCore* core, const char* id) {
    MSSndCardManager* cards = ms_factory_get_snd_card_manager(linphone_core_get_ms_factory(core));
    MSSndCard* card = ms_snd_card_manager_get_card(cards, id);
    return card != nullptr ? ms_snd_card_get_capabilities(card) : 0;
}

// The engine's extended list holds every device (the short one leaves out
// Linux devices); released on destruction.
struct AudioDevices {
    explicit AudioDevices(LinphoneCore* core) : list(linphone_core_get_extended_audio_devices(core)) {}
    ~AudioDevices() {
        bctbx_list_free_with_data(list, reinterpret_cast<bctbx_list_free_func>(linphone_audio_device_unref));
    }
    AudioDevices(const AudioDevices&) = delete;
    AudioDevices& operator=(const AudioDevices&) = delete;
    LinphoneAudioDevice* find(const std::string& id) const {
        for (bctbx_list_t* it = list; it != nullptr; it = bctbx_list_next(it)) {
            auto* device = static_cast<LinphoneAudioDevice*>(bctbx_list_get_data(it));
            if (id == text(linphone_audio_device_get_id(device))) return device;
        }
        return nullptr;
    }
    bctbx_list_t* list;
};

// The engine's synthetic moving picture ("Mire"), offered beside its still
// picture as a camera for tests and for machines without one. The engine
// has it only when its process runs with DEBUG=1: ours announces it always.
MSWebCamDesc g_testPattern;

void addTestPattern(MSWebCamManager* cameras) {
    ms_web_cam_manager_add_cam(cameras, ms_web_cam_new(&g_testPattern));
}

}  // namespace

// The engine's device for a role; null is its default.
int DeviceManager::setEngineDevice(LinphoneCore* core, Role role, const char* id) {
    switch (role) {
        case Role::Recording:
            return linphone_core_set_capture_device(core, id);
        case Role::Playout:
            return linphone_core_set_playback_device(core, id);
        case Role::Ringer:
            break;
    }
    return linphone_core_set_ringer_device(core, id);
}

std::string DeviceManager::engineDevice(LinphoneCore* core, Role role) {
    switch (role) {
        case Role::Recording:
            return text(linphone_core_get_capture_device(core));
        case Role::Playout:
            return text(linphone_core_get_playback_device(core));
        case Role::Ringer:
            break;
    }
    return text(linphone_core_get_ringer_device(core));
}

int DeviceManager::getMultimediaDevices(std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices) const {
    devices.clear();
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return ApiReturnCodeEnum::eInvalidState;
    const std::string recording = engineDevice(core, Role::Recording);
    const std::string playout = engineDevice(core, Role::Playout);
    const std::string ringer = engineDevice(core, Role::Ringer);
    AudioDevices sound(core);
    // Where a sound server runs, the ALSA devices are its own way in ("default")
    // or cards it holds: listing them beside its devices only confuses.
    bool soundServer = false;
    for (bctbx_list_t* it = sound.list; it != nullptr; it = bctbx_list_next(it)) {
        auto* device = static_cast<LinphoneAudioDevice*>(bctbx_list_get_data(it));
        soundServer |= text(linphone_audio_device_get_driver_name(device)) == "PulseAudio";
    }
    for (bctbx_list_t* it = sound.list; it != nullptr; it = bctbx_list_next(it)) {
        auto* device = static_cast<LinphoneAudioDevice*>(bctbx_list_get_data(it));
        if (soundServer && text(linphone_audio_device_get_driver_name(device)) == "ALSA") continue;
        const std::string id = text(linphone_audio_device_get_id(device));
        const std::string name = text(linphone_audio_device_get_device_name(device));
        const unsigned int caps = capabilities(core, id.c_str());
        const bool records = (caps & MS_SND_CARD_CAP_CAPTURE) != 0;
        const bool plays = (caps & MS_SND_CARD_CAP_PLAYBACK) != 0;
        if (!records && !plays) continue;  // nothing a page could use it for
        auto record = std::make_shared<ZepMultimediaDevices>();
        record->setDeviceIdentifier(id);
        record->setDeviceName(name);
        record->setHardwareID(text(linphone_audio_device_get_driver_name(device)));
        record->setCanRecord(records);
        record->setCanPlayout(plays);
        record->setCanRing(plays);
        if (records) {
            record->setRecordingName(name);
            record->setRecordingID(id);
            record->setClientRecordingID(id);
            record->setSelectedRecordingDevice(id == recording);
        }
        if (plays) {
            record->setPlayoutName(name);
            record->setPlayoutID(id);
            record->setClientPlayoutID(id);
            record->setSelectedPlayoutDevice(id == playout);
            record->setRingerName(name);
            record->setRingerID(id);
            record->setClientRingerID(id);
            record->setSelectedRingerDevice(id == ringer);
        }
        devices.push_back(record);
    }
    const std::string camera = text(linphone_core_get_video_device(core));
    bctbx_list_t* cameras = linphone_core_get_video_devices_list(core);
    for (bctbx_list_t* it = cameras; it != nullptr; it = bctbx_list_next(it)) {
        const std::string id = text(static_cast<const char*>(bctbx_list_get_data(it)));
        auto record = std::make_shared<ZepMultimediaDevices>();
        record->setDeviceIdentifier(id);
        record->setDeviceName(id);
        record->setCanCapture(true);
        record->setCaptureName(id);
        record->setCaptureID(id);
        record->setClientCaptureID(id);
        record->setSelectedCaptureDevice(id == camera);
        devices.push_back(record);
    }
    bctbx_list_free(cameras);  // the names are the engine's own
    return ApiReturnCodeEnum::eNoError;
}

int DeviceManager::setSoundDevice(Role role, const std::string& id) {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return ApiReturnCodeEnum::eInvalidState;
    const unsigned int needed = role == Role::Recording ? MS_SND_CARD_CAP_CAPTURE : MS_SND_CARD_CAP_PLAYBACK;
    AudioDevices sound(core);
    LinphoneAudioDevice* device = nullptr;
    if (!id.empty()) {
        // The engine takes an unknown identifier silently and picks its default.
        device = sound.find(id);
        if (device == nullptr || (capabilities(core, id.c_str()) & needed) == 0) {
            ZEP_LOG(OZKLogLevelInfo, kSrc, "no sound device [" << id << "] for that role");
            return ApiReturnCodeEnum::eInvalidArgument;
        }
    }
    // Null is the system's default; the engine keeps the choice in its config
    // for the next calls. Its PulseAudio streams cannot change device while
    // they run: the sound server moves them.
    const char* engineId = id.empty() ? nullptr : id.c_str();
    const LinphoneStatus status = setEngineDevice(core, role, engineId);
    // Written now: the engine saves its config only when it is told to.
    LinphoneConfig* config = linphone_core_get_config(core);
    linphone_config_set_string(config, kVolumeSection, kChoiceKeys[static_cast<int>(role)], id.c_str());
    linphone_config_sync(config);
    ZEP_LOG(OZKLogLevelInfo, kSrc, "sound device for role " << static_cast<int>(role) << ": [" << id << "]");
    if (status != 0) return ApiReturnCodeEnum::eOperationFailed;
    followChoice(role);
    return ApiReturnCodeEnum::eNoError;
}

void DeviceManager::followChoice(Role role) {
    LinphoneCore* core = m_context.engine.core();
    // The ring follows its device itself; calls on files have no streams to move.
    if (role == Role::Ringer || linphone_core_get_calls_nb(core) == 0 || linphone_core_get_use_files(core)) return;
    const auto direction =
        role == Role::Recording ? SoundServer::Direction::Recording : SoundServer::Direction::Playback;
    if (m_sound.moveStreams(direction, chosenDeviceName(role)) < 0) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "the calls could not be moved to the chosen device");
    }
    // A stream the engine is still opening is not listed yet: look again.
    const auto now = std::chrono::steady_clock::now();
    const int i = static_cast<int>(role);
    if (m_followUntil[i] < now) m_followUntil[i] = now + std::chrono::seconds(3);
    m_followNext[i] = now + std::chrono::milliseconds(300);
}

void DeviceManager::pump() {
    const auto now = std::chrono::steady_clock::now();
    for (Role role : {Role::Recording, Role::Playout}) {
        const int i = static_cast<int>(role);
        if (m_followUntil[i] < now || m_followNext[i] > now || m_context.engine.core() == nullptr) continue;
        followChoice(role);
    }
}

std::string DeviceManager::keptChoice(Role role) const {
    LinphoneConfig* config = linphone_core_get_config(m_context.engine.core());
    return text(linphone_config_get_string(config, kVolumeSection, kChoiceKeys[static_cast<int>(role)], ""));
}

std::string DeviceManager::chosenDeviceName(Role role) const {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return "";
    const std::string id = keptChoice(role);
    if (id.empty()) return "";
    AudioDevices sound(core);
    LinphoneAudioDevice* device = sound.find(id);
    return device != nullptr ? text(linphone_audio_device_get_device_name(device)) : "";
}

void DeviceManager::onDevicesChanged() {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return;
    linphone_core_reload_sound_devices(core);
    for (Role role : {Role::Recording, Role::Playout, Role::Ringer}) {
        const std::string id = keptChoice(role);
        if (id.empty()) continue;
        AudioDevices sound(core);
        const bool present = sound.find(id) != nullptr;
        const char* engineId = present ? id.c_str() : nullptr;
        const std::string before = engineDevice(core, role);
        // Our record stays: the device takes over again when it is back.
        setEngineDevice(core, role, engineId);
        if (present && before != id) {
            ZEP_LOG(OZKLogLevelInfo, kSrc, "chosen sound device [" << id << "] is back");
            followChoice(role);
        } else if (!present) {
            ZEP_LOG(OZKLogLevelInfo, kSrc, "chosen sound device [" << id << "] is gone: the default is used");
        }
    }
    m_context.deliver<ZepMediaDeviceObserver>("onMultimediaDevicesChanged",
                                              [](ZepMediaDeviceObserver& o) { o.onMultimediaDevicesChanged(); });
}

bool DeviceManager::hasSoundCard(LinphoneCore* core) {
    unsigned int all = 0;
    AudioDevices sound(core);
    for (bctbx_list_t* it = sound.list; it != nullptr; it = bctbx_list_next(it)) {
        all |= capabilities(core,
                            linphone_audio_device_get_id(static_cast<LinphoneAudioDevice*>(bctbx_list_get_data(it))));
    }
    return (all & MS_SND_CARD_CAP_CAPTURE) != 0 && (all & MS_SND_CARD_CAP_PLAYBACK) != 0;
}

void DeviceManager::onEngineStarted() {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return;
    // The camera chosen last time, read before the engine's reload of its
    // cameras, which forgets a choice it did not know at start.
    const std::string camera = text(linphone_config_get_string(linphone_core_get_config(core), "video", "device", ""));
    g_testPattern = *ms_mire_webcam_desc_get();
    g_testPattern.detect = &addTestPattern;
    ms_web_cam_manager_register_desc(ms_factory_get_web_cam_manager(linphone_core_get_ms_factory(core)),
                                     &g_testPattern);
    linphone_core_reload_video_devices(core);
    if (!camera.empty() && setCaptureDevice(camera) != ApiReturnCodeEnum::eNoError) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "chosen camera [" << camera << "] is not there: the default is used");
    }
    for (Role role : {Role::Recording, Role::Playout, Role::Ringer}) {
        const std::string id = keptChoice(role);
        // A device gone since is left alone: the engine's default stands in.
        if (!id.empty() && setSoundDevice(role, id) != ApiReturnCodeEnum::eNoError) {
            ZEP_LOG(OZKLogLevelInfo, kSrc, "chosen sound device [" << id << "] is not there: the default is used");
        }
    }
}

int DeviceManager::setRecordingDevice(const std::string& id) {
    return setSoundDevice(Role::Recording, id);
}

int DeviceManager::setPlayoutDevice(const std::string& id) {
    return setSoundDevice(Role::Playout, id);
}

int DeviceManager::setRingerDevice(const std::string& id) {
    return setSoundDevice(Role::Ringer, id);
}

int DeviceManager::setCaptureDevice(const std::string& id) {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return ApiReturnCodeEnum::eInvalidState;
    bool known = id.empty();
    bctbx_list_t* cameras = linphone_core_get_video_devices_list(core);
    for (bctbx_list_t* it = cameras; it != nullptr && !known; it = bctbx_list_next(it)) {
        known = id == text(static_cast<const char*>(bctbx_list_get_data(it)));
    }
    bctbx_list_free(cameras);  // the names are the engine's own
    if (!known) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "no camera [" << id << "]");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    const LinphoneStatus status = linphone_core_set_video_device(core, id.empty() ? nullptr : id.c_str());
    linphone_config_sync(linphone_core_get_config(core));
    return status == 0 ? ApiReturnCodeEnum::eNoError : ApiReturnCodeEnum::eOperationFailed;
}

int DeviceManager::setVolume(const char* role, int volume) {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return ApiReturnCodeEnum::eInvalidState;
    if (volume < 0 || volume > 100) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, role << " volume [" << volume << "] is outside 0 to 100");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    LinphoneConfig* config = linphone_core_get_config(core);
    const bool changed = keptVolume(core, role) != volume;
    linphone_config_set_int(config, kVolumeSection, (std::string(role) + "_volume").c_str(), volume);
    linphone_config_sync(config);
    for (const bctbx_list_t* it = linphone_core_get_calls(core); it != nullptr; it = bctbx_list_next(it)) {
        applyVolumes(core, static_cast<LinphoneCall*>(bctbx_list_get_data(it)));
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, role << " volume [" << volume << "]");
    if (changed && std::string(role) == "speaker") {
        m_context.queue.post([this, volume] {
            m_context.deliver<ZepMediaDeviceObserver>("onCurrentSpeakerVolumeChanged", [&](ZepMediaDeviceObserver& o) {
                o.onCurrentSpeakerVolumeChanged(volume);
            });
        });
    }
    return ApiReturnCodeEnum::eNoError;
}

int DeviceManager::getVolume(const std::string& role, int& volume) const {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return ApiReturnCodeEnum::eInvalidState;
    if (!knownRole(role)) return ApiReturnCodeEnum::eInvalidArgument;
    volume = keptVolume(core, role);
    return ApiReturnCodeEnum::eNoError;
}

void DeviceManager::applyVolumes(LinphoneCore* core, LinphoneCall* call) {
    linphone_call_set_speaker_volume_gain(call, static_cast<float>(keptVolume(core, "speaker")) / 100.0f);
    linphone_call_set_microphone_volume_gain(call, static_cast<float>(keptVolume(core, "microphone")) / 100.0f);
}

}  // namespace zep
}  // namespace tessel
