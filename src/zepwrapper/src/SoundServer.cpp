#include "SoundServer.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include <pulse/pulseaudio.h>

#include "ZepLog.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/SoundServer";

namespace {

// How long a burst of devices coming and going may last before we look.
const pa_usec_t kSettleUsec = 300 * PA_USEC_PER_MSEC;
// Every exchange with the server is bounded: a stuck server must not stop
// the pumping thread.
const int kReplyTimeoutMs = 2000;

pa_volume_t paVolume(int percent) {
    return pa_sw_volume_from_linear(static_cast<double>(std::max(0, std::min(100, percent))) / 100.0);
}

}  // namespace

struct SoundServer::State {
    pa_threaded_mainloop* loop = nullptr;
    pa_context* context = nullptr;
    std::function<void()> onDevicesChanged;
    pa_time_event* settle = nullptr;

    // The loop being played; touched under the loop's lock only.
    pa_stream* tone = nullptr;
    std::vector<int16_t> samples;
    size_t position = 0;

    // The lock of libpulse's loop, for one scope.
    struct Lock {
        explicit Lock(pa_threaded_mainloop* l) : loop(l) { pa_threaded_mainloop_lock(loop); }
        ~Lock() { pa_threaded_mainloop_unlock(loop); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
        pa_threaded_mainloop* loop;
    };

    // Waits, lock held, until done() or the timeout; callbacks that change
    // what done() looks at signal the loop.
    template <class Done>
    bool wait(Done done, int timeoutMs) {
        struct Expiry {
            pa_threaded_mainloop* loop;
            bool expired;
        } expiry{loop, false};
        struct timeval tv;
        pa_timeval_add(pa_gettimeofday(&tv), static_cast<pa_usec_t>(timeoutMs) * PA_USEC_PER_MSEC);
        pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop);
        pa_time_event* timer = api->time_new(
            api, &tv,
            [](pa_mainloop_api*, pa_time_event*, const struct timeval*, void* data) {
                auto* e = static_cast<Expiry*>(data);
                e->expired = true;
                pa_threaded_mainloop_signal(e->loop, 0);
            },
            &expiry);
        while (!done() && !expiry.expired) pa_threaded_mainloop_wait(loop);
        api->time_free(timer);
        return done();
    }

    // Runs an operation to its end (lock held); false on timeout or failure.
    bool finish(pa_operation* op) {
        if (op == nullptr) return false;
        const bool done = wait([op] { return pa_operation_get_state(op) != PA_OPERATION_RUNNING; }, kReplyTimeoutMs);
        if (!done) pa_operation_cancel(op);
        pa_operation_unref(op);
        return done;
    }

    bool ready() const { return context != nullptr && pa_context_get_state(context) == PA_CONTEXT_READY; }

    // The name of the device with that description ("" for the default).
    std::string deviceName(Direction direction, const std::string& description);
    void stopTone();
};

namespace {

struct Lookup {
    pa_threaded_mainloop* loop;
    bool playback;
    std::string description;
    std::string name;
};

struct StreamList {
    pa_threaded_mainloop* loop;
    std::string pid;
    uint32_t except;
    std::vector<uint32_t> ours;
};

bool ourProcess(pa_proplist* props, const std::string& pid) {
    const char* value = pa_proplist_gets(props, PA_PROP_APPLICATION_PROCESS_ID);
    return value != nullptr && pid == value;
}

}  // namespace

std::string SoundServer::State::deviceName(Direction direction, const std::string& description) {
    Lookup lookup{loop, direction == Direction::Playback, description, ""};
    pa_operation* op = nullptr;
    if (description.empty()) {
        op = pa_context_get_server_info(
            context,
            [](pa_context*, const pa_server_info* info, void* data) {
                auto* l = static_cast<Lookup*>(data);
                const char* name = info == nullptr ? nullptr
                                   : l->playback   ? info->default_sink_name
                                                   : info->default_source_name;
                l->name = name != nullptr ? name : "";
                pa_threaded_mainloop_signal(l->loop, 0);
            },
            &lookup);
    } else if (lookup.playback) {
        op = pa_context_get_sink_info_list(
            context,
            [](pa_context*, const pa_sink_info* info, int eol, void* data) {
                auto* l = static_cast<Lookup*>(data);
                if (eol == 0 && info != nullptr && l->name.empty() && info->description != nullptr &&
                    l->description == info->description) {
                    l->name = info->name;
                }
                if (eol != 0) pa_threaded_mainloop_signal(l->loop, 0);
            },
            &lookup);
    } else {
        op = pa_context_get_source_info_list(
            context,
            [](pa_context*, const pa_source_info* info, int eol, void* data) {
                auto* l = static_cast<Lookup*>(data);
                // A monitor is an output heard back, not a microphone.
                if (eol == 0 && info != nullptr && l->name.empty() && info->monitor_of_sink == PA_INVALID_INDEX &&
                    info->description != nullptr && l->description == info->description) {
                    l->name = info->name;
                }
                if (eol != 0) pa_threaded_mainloop_signal(l->loop, 0);
            },
            &lookup);
    }
    finish(op);
    return lookup.name;
}

void SoundServer::State::stopTone() {
    if (tone == nullptr) return;
    pa_stream_set_write_callback(tone, nullptr, nullptr);
    pa_stream_disconnect(tone);
    pa_stream_unref(tone);
    tone = nullptr;
}

SoundServer::SoundServer() : m_state(new State) {}

SoundServer::~SoundServer() {
    disconnect();
}

bool SoundServer::connected() const {
    if (m_state->loop == nullptr) return false;
    State::Lock lock(m_state->loop);
    return m_state->ready();
}

bool SoundServer::connect(std::function<void()> onDevicesChanged) {
    if (m_state->loop != nullptr) return connected();
    State& s = *m_state;
    s.onDevicesChanged = std::move(onDevicesChanged);
    s.loop = pa_threaded_mainloop_new();
    if (s.loop == nullptr) return false;
    pa_threaded_mainloop_set_name(s.loop, "zep-sound");
    pa_proplist* props = pa_proplist_new();
    pa_proplist_sets(props, PA_PROP_APPLICATION_NAME, "pelahost");
    s.context = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(s.loop), "pelahost", props);
    pa_proplist_free(props);
    if (s.context == nullptr || pa_threaded_mainloop_start(s.loop) < 0) {
        disconnect();
        return false;
    }
    State::Lock lock(s.loop);
    pa_context_set_state_callback(
        s.context,
        [](pa_context*, void* loop) { pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0); },
        s.loop);
    // A desktop without a sound server stays without one: never start one.
    if (pa_context_connect(s.context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "no sound server: " << pa_strerror(pa_context_errno(s.context)));
        return false;
    }
    s.wait(
        [&s] {
            const pa_context_state_t state = pa_context_get_state(s.context);
            return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
        },
        kReplyTimeoutMs);
    if (!s.ready()) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "no sound server: " << pa_strerror(pa_context_errno(s.context)));
        return false;
    }
    pa_context_set_subscribe_callback(
        s.context,
        [](pa_context* c, pa_subscription_event_type_t type, uint32_t, void* data) {
            auto* state = static_cast<State*>(data);
            const unsigned what = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
            // Volume and state changes come as "change"; only arrivals and departures matter.
            if (what != PA_SUBSCRIPTION_EVENT_NEW && what != PA_SUBSCRIPTION_EVENT_REMOVE) return;
            pa_mainloop_api* api = pa_threaded_mainloop_get_api(state->loop);
            struct timeval tv;
            pa_timeval_add(pa_gettimeofday(&tv), kSettleUsec);
            if (state->settle != nullptr) {
                api->time_restart(state->settle, &tv);
                return;
            }
            state->settle = api->time_new(
                api, &tv,
                [](pa_mainloop_api* a, pa_time_event* e, const struct timeval*, void* d) {
                    auto* st = static_cast<State*>(d);
                    a->time_free(e);
                    st->settle = nullptr;
                    if (st->onDevicesChanged) st->onDevicesChanged();
                },
                state);
            (void)c;
        },
        &s);
    pa_operation* op = pa_context_subscribe(
        s.context, static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE),
        nullptr, nullptr);
    s.finish(op);
    ZEP_LOG(OZKLogLevelInfo, kSrc,
            "sound server [" << pa_context_get_server(s.context) << "] protocol "
                             << pa_context_get_server_protocol_version(s.context));
    return true;
}

void SoundServer::disconnect() {
    State& s = *m_state;
    if (s.loop == nullptr) return;
    {
        State::Lock lock(s.loop);
        s.stopTone();
        if (s.settle != nullptr) {
            pa_threaded_mainloop_get_api(s.loop)->time_free(s.settle);
            s.settle = nullptr;
        }
        if (s.context != nullptr) {
            pa_context_set_subscribe_callback(s.context, nullptr, nullptr);
            pa_context_set_state_callback(s.context, nullptr, nullptr);
            pa_context_disconnect(s.context);
            pa_context_unref(s.context);
            s.context = nullptr;
        }
    }
    pa_threaded_mainloop_stop(s.loop);
    pa_threaded_mainloop_free(s.loop);
    s.loop = nullptr;
}

int SoundServer::moveStreams(Direction direction, const std::string& description) {
    State& s = *m_state;
    if (s.loop == nullptr) return -1;
    State::Lock lock(s.loop);
    if (!s.ready()) return -1;
    const std::string device = s.deviceName(direction, description);
    if (device.empty()) return -1;
    StreamList list{
        s.loop, std::to_string(getpid()), s.tone != nullptr ? pa_stream_get_index(s.tone) : PA_INVALID_INDEX, {}};
    pa_operation* op = nullptr;
    if (direction == Direction::Playback) {
        op = pa_context_get_sink_input_info_list(
            s.context,
            [](pa_context*, const pa_sink_input_info* info, int eol, void* data) {
                auto* l = static_cast<StreamList*>(data);
                if (eol == 0 && info != nullptr && info->index != l->except && ourProcess(info->proplist, l->pid)) {
                    l->ours.push_back(info->index);
                }
                if (eol != 0) pa_threaded_mainloop_signal(l->loop, 0);
            },
            &list);
    } else {
        op = pa_context_get_source_output_info_list(
            s.context,
            [](pa_context*, const pa_source_output_info* info, int eol, void* data) {
                auto* l = static_cast<StreamList*>(data);
                if (eol == 0 && info != nullptr && ourProcess(info->proplist, l->pid)) l->ours.push_back(info->index);
                if (eol != 0) pa_threaded_mainloop_signal(l->loop, 0);
            },
            &list);
    }
    if (!s.finish(op)) return 0;
    int moved = 0;
    for (uint32_t index : list.ours) {
        struct Result {
            pa_threaded_mainloop* loop;
            int success;
        } result{s.loop, 0};
        auto done = [](pa_context*, int success, void* data) {
            auto* r = static_cast<Result*>(data);
            r->success = success;
            pa_threaded_mainloop_signal(r->loop, 0);
        };
        pa_operation* move =
            direction == Direction::Playback
                ? pa_context_move_sink_input_by_name(s.context, index, device.c_str(), done, &result)
                : pa_context_move_source_output_by_name(s.context, index, device.c_str(), done, &result);
        if (s.finish(move) && result.success != 0) ++moved;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc,
            "moved [" << moved << "] of [" << list.ours.size() << "] "
                      << (direction == Direction::Playback ? "playing" : "recording") << " streams to [" << device
                      << "]");
    return moved;
}

bool SoundServer::playLoop(const std::string& name, const std::string& description, std::vector<int16_t> samples,
                           int sampleRate, int volume) {
    State& s = *m_state;
    if (s.loop == nullptr || samples.empty()) return false;
    State::Lock lock(s.loop);
    s.stopTone();
    if (!s.ready()) return false;
    // A device gone since it was chosen: the default plays instead.
    std::string device = s.deviceName(Direction::Playback, description);
    if (device.empty()) device = s.deviceName(Direction::Playback, "");
    const pa_sample_spec format{PA_SAMPLE_S16LE, static_cast<uint32_t>(sampleRate), 1};
    pa_proplist* props = pa_proplist_new();
    // "phone" lets desktops route and duck it as a call's sound.
    pa_proplist_sets(props, PA_PROP_MEDIA_ROLE, "phone");
    pa_proplist_sets(props, PA_PROP_MEDIA_NAME, name.c_str());
    s.tone = pa_stream_new_with_proplist(s.context, name.c_str(), &format, nullptr, props);
    pa_proplist_free(props);
    if (s.tone == nullptr) return false;
    s.samples = std::move(samples);
    s.position = 0;
    pa_stream_set_write_callback(
        s.tone,
        [](pa_stream* stream, size_t bytes, void* data) {
            auto* st = static_cast<State*>(data);
            std::vector<int16_t> chunk(bytes / sizeof(int16_t));
            for (int16_t& sample : chunk) {
                sample = st->samples[st->position];
                st->position = (st->position + 1) % st->samples.size();
            }
            pa_stream_write(stream, chunk.data(), chunk.size() * sizeof(int16_t), nullptr, 0, PA_SEEK_RELATIVE);
        },
        &s);
    pa_stream_set_state_callback(
        s.tone,
        [](pa_stream*, void* loop) { pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0); },
        s.loop);
    // A short buffer, so that the ring stops as soon as it is told to.
    const uint32_t tenth = static_cast<uint32_t>(sampleRate / 10 * sizeof(int16_t));
    const pa_buffer_attr attr{static_cast<uint32_t>(-1), tenth, static_cast<uint32_t>(-1), static_cast<uint32_t>(-1),
                              static_cast<uint32_t>(-1)};
    pa_cvolume level;
    pa_cvolume_set(&level, 1, paVolume(volume));
    if (pa_stream_connect_playback(s.tone, device.empty() ? nullptr : device.c_str(), &attr, PA_STREAM_ADJUST_LATENCY,
                                   &level, nullptr) < 0) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, name << " not played: " << pa_strerror(pa_context_errno(s.context)));
        s.stopTone();
        return false;
    }
    pa_stream* tone = s.tone;
    s.wait(
        [tone] {
            const pa_stream_state_t state = pa_stream_get_state(tone);
            return state == PA_STREAM_READY || !PA_STREAM_IS_GOOD(state);
        },
        kReplyTimeoutMs);
    if (pa_stream_get_state(tone) != PA_STREAM_READY) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, name << " not played on [" << device << "]");
        s.stopTone();
        return false;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, name << " playing on [" << device << "] at volume [" << volume << "]");
    return true;
}

void SoundServer::setLoopVolume(int volume) {
    State& s = *m_state;
    if (s.loop == nullptr) return;
    State::Lock lock(s.loop);
    if (s.tone == nullptr || !s.ready()) return;
    pa_cvolume level;
    pa_cvolume_set(&level, 1, paVolume(volume));
    pa_operation* op =
        pa_context_set_sink_input_volume(s.context, pa_stream_get_index(s.tone), &level, nullptr, nullptr);
    if (op != nullptr) pa_operation_unref(op);  // nothing to wait for
}

void SoundServer::stopLoop() {
    State& s = *m_state;
    if (s.loop == nullptr) return;
    State::Lock lock(s.loop);
    s.stopTone();
}

bool SoundServer::loopPlaying() const {
    State& s = *m_state;
    if (s.loop == nullptr) return false;
    State::Lock lock(s.loop);
    return s.tone != nullptr;
}

}  // namespace zep
}  // namespace tessel
