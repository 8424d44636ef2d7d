#include "CallManager.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <regex>

#include <linphone/core.h>
#include <linphone/factory.h>
#include <zepwrapper/ZepCallStateObserver.h>

#include "AccountManager.h"
#include "DeviceManager.h"
#include "zepwrapper/ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/CallManager";

namespace {
// The engine needs this long between two RFC 4733 events of one call: one
// event at a time, with its end packets.
const std::chrono::milliseconds kDtmfSpacing(250);
// How long a hold or resume waits for an offer and answer under way; a
// re-INVITE's transaction gives up after 32 s, a page should hear sooner.
const std::chrono::seconds kSettleWait(10);
// Engine rounds while a call is set up or changed (every SIP message counts
// for set-up time), and while all calls are settled (media runs on its own
// threads; signalling only needs to stay responsive).
const long kQuickRound = 1;
const long kSettledCallRound = 20;
// How often a waiting hold or resume looks whether the update has ended.
const std::chrono::milliseconds kSettlePoll(5);
// When our engine would not send a mute's re-offer because another request
// of the dialog is still open (a video call's picture update, say).
const std::chrono::milliseconds kOfferRetry(20);

LinphoneMediaDirection engineDirection(VideoDirection d) {
    switch (d) {
        case VideoDirection::SendOnly:
            return LinphoneMediaDirectionSendOnly;
        case VideoDirection::RecvOnly:
            return LinphoneMediaDirectionRecvOnly;
        case VideoDirection::SendRecv:
            return LinphoneMediaDirectionSendRecv;
        case VideoDirection::Inactive:
            break;
    }
    return LinphoneMediaDirectionInactive;
}

// One second of silence as a mono 16-bit 8 kHz WAV file, which the engine
// plays in a loop.
bool writeSilence(const std::string& path) {
    const uint32_t rate = 8000;
    const uint32_t bytes = rate * 2;
    auto le = [](std::ofstream& out, uint32_t value, int size) {
        for (int i = 0; i < size; ++i) out.put(static_cast<char>((value >> (8 * i)) & 0xff));
    };
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << "RIFF";
    le(out, 36 + bytes, 4);
    out << "WAVEfmt ";
    le(out, 16, 4);
    le(out, 1, 2);  // PCM
    le(out, 1, 2);  // mono
    le(out, rate, 4);
    le(out, rate * 2, 4);  // bytes per second
    le(out, 2, 2);         // bytes per frame
    le(out, 16, 2);        // bits per sample
    out << "data";
    le(out, bytes, 4);
    out << std::string(bytes, '\0');
    return static_cast<bool>(out.flush());
}

std::string text(const char* s) {
    return s ? s : "";
}

bool talking(CallState s) {
    return s == CallState::Connected || s == CallState::RemHold;
}

// The engine takes a pause or resume only when no offer and answer is under
// way; these are the states of one under way.
bool negotiating(LinphoneCall* call) {
    switch (linphone_call_get_state(call)) {
        case LinphoneCallStateConnected:  // streams not started yet
        case LinphoneCallStateUpdating:
        case LinphoneCallStateUpdatedByRemote:
        case LinphoneCallStatePausing:
        case LinphoneCallStateResuming:
            return true;
        default:
            return false;
    }
}
}  // namespace

struct CallManager::EngineCallbacks {
    static CallManager* self(LinphoneCore* lc) {
        LinphoneCoreCbs* cbs = linphone_core_get_current_callbacks(lc);
        return cbs ? static_cast<CallManager*>(linphone_core_cbs_get_user_data(cbs)) : nullptr;
    }
    static void callState(LinphoneCore* lc, LinphoneCall* call, LinphoneCallState state, const char*) {
        CallManager* manager = self(lc);
        if (manager != nullptr) manager->handleState(call, state);
    }
    static void transferState(LinphoneCore* lc, LinphoneCall* call, LinphoneCallState state) {
        CallManager* manager = self(lc);
        if (manager != nullptr) manager->handleTransferState(call, state);
    }
};

CallManager::CallManager(FrameworkContext context, const AccountManager& account)
    : m_context(context), m_account(account) {}

// At exit nobody is told: observers may be gone already.
CallManager::~CallManager() {
    dropAll(false);
}

void CallManager::onEngineStarted() {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return;
    // Digits go in the media stream as RFC 4733 events, never as SIP INFO.
    linphone_core_set_use_rfc2833_for_dtmf(core, TRUE);
    linphone_core_set_use_info_for_dtmf(core, FALSE);
    chooseAudio();
    m_pCbs = linphone_factory_create_core_cbs(linphone_factory_get());
    linphone_core_cbs_set_user_data(m_pCbs, this);
    linphone_core_cbs_set_call_state_changed(m_pCbs, &EngineCallbacks::callState);
    linphone_core_cbs_set_transfer_state_changed(m_pCbs, &EngineCallbacks::transferState);
    linphone_core_add_callbacks(core, m_pCbs);
}

void CallManager::chooseAudio() {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return;
    // Calls use the sound card. Files stand in for it when "[zep] play_file"
    // or "record_file" name them (a tone for tests), or when the machine has
    // nothing to record from or play to.
    LinphoneConfig* config = linphone_core_get_config(core);
    std::string play = text(linphone_config_get_string(config, "zep", "play_file", ""));
    const std::string record = text(linphone_config_get_string(config, "zep", "record_file", ""));
    const bool soundCard = DeviceManager::hasSoundCard(core);
    const bool files = !play.empty() || !record.empty() || !soundCard;
    const bool silent = files && play.empty();
    if (silent) {
        // Without a file the engine sends no RTP at all, and far ends then
        // hold back the last digit of a burst or drop the call: silence it is.
        play = m_context.engine.folder() + "/silence.wav";
        if (!writeSilence(play)) ZEP_LOG(OZKLogLevelWarning, kSrc, "call audio: [" << play << "] not written");
    }
    linphone_core_set_use_files(core, files ? TRUE : FALSE);
    if (files) linphone_core_set_play_file(core, play.c_str());
    if (!record.empty()) linphone_core_set_record_file(core, record.c_str());
    if (files) {
        ZEP_LOG(OZKLogLevelInfo, kSrc,
                "call audio: files [" << play << "] [" << record << "]"
                                      << (soundCard ? "" : ": no sound device to record from and play to")
                                      << (silent ? ", sending silence" : ""));
    } else {
        // The engine's echo canceller, waiting for an echo to lock on to,
        // plays the far end as zeros until it finds one: on a headset or a
        // quiet room the user would hear nothing. Desktop sound servers do
        // their own (PulseAudio's module-echo-cancel); "[sound]
        // echocancellation=1" in the engine's config turns ours back on.
        if (!linphone_config_has_entry(config, "sound", "echocancellation")) {
            linphone_core_enable_echo_cancellation(core, FALSE);
        }
        ZEP_LOG(OZKLogLevelInfo, kSrc,
                "call audio: sound devices, recording from [" << text(linphone_core_get_capture_device(core))
                                                              << "] playing to ["
                                                              << text(linphone_core_get_playback_device(core)) << "]");
    }
}

void CallManager::onEngineStopping() {
    dropAll(true);
}

void CallManager::dropAll(bool tell) {
    LinphoneCore* core = m_context.engine.core();
    if (m_pCbs != nullptr) {
        if (core != nullptr) linphone_core_remove_callbacks(core, m_pCbs);
        linphone_core_cbs_unref(m_pCbs);
        m_pCbs = nullptr;
    }
    if (m_pConference != nullptr) {
        linphone_conference_unref(m_pConference);
        m_pConference = nullptr;
    }
    // The engine ends the calls as it stops, with our callbacks gone: pages
    // hear of the end now, at once, since the queue is dropped after this.
    std::vector<std::pair<int, std::shared_ptr<ZepCallInfo>>> ended;
    for (auto& item : m_calls) {
        Entry& entry = item.second;
        if (!tell || entry.reported == CallState::Idle) continue;
        entry.reported = CallState::Idle;
        entry.transferPeer = 0;
        ended.emplace_back(item.first, snapshot(item.first, entry));
    }
    for (auto& item : m_calls) linphone_call_unref(item.second.call);
    m_calls.clear();
    for (const auto& end : ended) {
        m_context.deliver<ZepCallStateObserver>("onCallStateChange", [&](ZepCallStateObserver& o) {
            o.onCallStateChange(CallEvent::kEnded, end.second, end.first);
        });
    }
    m_dtmfPosted = false;
    if (tell && m_ringing) m_ringing(false, false);
}

// --- Ids and records -----------------------------------------------------------

CallManager::Entry* CallManager::find(int callId) {
    auto it = m_calls.find(callId);
    return it == m_calls.end() ? nullptr : &it->second;
}

int CallManager::idOf(LinphoneCall* call) const {
    for (const auto& item : m_calls) {
        if (item.second.call == call) return item.first;
    }
    return 0;
}

int CallManager::adopt(LinphoneCall* call) {
    const int id = m_nextId++;
    Entry entry;
    entry.call = linphone_call_ref(call);
    entry.outgoing = linphone_call_get_dir(call) == LinphoneCallOutgoing;
    const LinphoneCallParams* params = linphone_call_get_params(call);
    if (params != nullptr && linphone_call_params_video_enabled(params)) {
        switch (linphone_call_params_get_video_direction(params)) {
            case LinphoneMediaDirectionSendOnly:
                entry.video = VideoDirection::SendOnly;
                break;
            case LinphoneMediaDirectionRecvOnly:
                entry.video = VideoDirection::RecvOnly;
                break;
            case LinphoneMediaDirectionSendRecv:
                entry.video = VideoDirection::SendRecv;
                break;
            default:
                break;
        }
    }
    m_calls.emplace(id, entry);
    ZEP_LOG(OZKLogLevelInfo, kSrc, "call [" << id << "] " << (entry.outgoing ? "outgoing" : "incoming"));
    return id;
}

void CallManager::release(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr) return;
    endTransfer(callId);
    linphone_call_unref(entry->call);
    m_calls.erase(callId);
    // The engine keeps a log of every call in memory (addresses, media
    // descriptions, quality report: kilobytes each) for a history we never
    // read; a phone left up for weeks would grow by all of them.
    if (LinphoneCore* core = m_context.engine.core()) linphone_core_clear_call_logs(core);
    bool anyInConference = false;
    for (const auto& item : m_calls) anyInConference |= item.second.conference;
    if (!anyInConference && m_pConference != nullptr) {
        linphone_conference_unref(m_pConference);
        m_pConference = nullptr;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, "call [" << callId << "] released");
}

CallState CallManager::stateOf(const Entry& entry) const {
    switch (linphone_call_get_state(entry.call)) {
        case LinphoneCallStateIncomingReceived:
        case LinphoneCallStatePushIncomingReceived:
        case LinphoneCallStateIncomingEarlyMedia:
            return CallState::RingIn;
        case LinphoneCallStateOutgoingInit:
            return CallState::Dialing;
        case LinphoneCallStateOutgoingProgress:
            return CallState::Proceeding;
        case LinphoneCallStateOutgoingRinging:
        case LinphoneCallStateOutgoingEarlyMedia:
            return CallState::RingOut;
        case LinphoneCallStateConnected:
        case LinphoneCallStateStreamsRunning:
            return CallState::Connected;
        case LinphoneCallStatePaused:
            return CallState::Hold;
        case LinphoneCallStatePausedByRemote: {
            // The engine calls the answer to our "recvonly" of a mute a remote
            // pause; it is one only when the far end itself offered sendonly
            // or inactive.
            const LinphoneCallParams* remote = linphone_call_get_remote_params(entry.call);
            const LinphoneMediaDirection offered =
                remote != nullptr ? linphone_call_params_get_audio_direction(remote) : LinphoneMediaDirectionInactive;
            if (entry.sdpMuted && offered != LinphoneMediaDirectionSendOnly &&
                offered != LinphoneMediaDirectionInactive)
                return CallState::Connected;
            return CallState::RemHold;
        }
        case LinphoneCallStateError:
            return CallState::Reorder;
        case LinphoneCallStateEnd:
        case LinphoneCallStateReleased:
            return CallState::Idle;
        default:
            // Pausing, resuming, updates, referred: on the way between two
            // states a page knows; it keeps seeing the last one.
            return entry.announced ? entry.reported : (entry.outgoing ? CallState::Dialing : CallState::RingIn);
    }
}

std::shared_ptr<ZepCallInfo> CallManager::snapshot(int, const Entry& entry) const {
    auto info = std::make_shared<ZepCallInfo>();
    info->setCallState(callStateName(entry.reported));
    info->setCallStateNumeric(static_cast<int>(entry.reported));
    info->setCallType(entry.outgoing ? kCallTypeOutgoing : kCallTypeIncoming);
    info->setAudioMuted(entry.audioMuted);
    info->setVideoMuted(entry.videoMuted);
    info->setConference(entry.conference);
    info->setVideoDirection(videoDirectionName(entry.video));

    CallSituation situation;
    situation.state = entry.reported;
    situation.audioMuted = entry.audioMuted;
    situation.videoMuted = entry.videoMuted;
    if (entry.transferPeer != 0) {
        situation.inTransfer = true;
        auto peer = m_calls.find(entry.transferPeer);
        const Entry* consultation = entry.consultation ? &entry : (peer != m_calls.end() ? &peer->second : nullptr);
        situation.consultationUp = consultation != nullptr && consultation->reported == CallState::Connected;
    }
    info->setCapabilitySet(capabilitiesFor(situation));

    // A conference call's other participants are everybody joined in it.
    std::vector<std::shared_ptr<ZepParticipantInfo>> participants;
    for (const auto& item : m_calls) {
        const Entry& other = item.second;
        if (&other != &entry && !(entry.conference && other.conference)) continue;
        const LinphoneAddress* remote = linphone_call_get_remote_address(other.call);
        if (remote == nullptr) continue;
        auto p = std::make_shared<ZepParticipantInfo>();
        p->setName(text(linphone_address_get_display_name(remote)));
        p->setNumber(text(linphone_address_get_username(remote)));
        p->setTranslatedNumber(p->getNumber());
        char* uri = linphone_address_as_string_uri_only(remote);
        p->setUri(text(uri));
        bctbx_free(uri);
        participants.push_back(p);
    }
    info->setOtherParticipants(participants);

    const std::string line = m_account.lineNumber();
    info->setLine(!line.empty());
    info->setNumber(line);
    info->setName(line.empty() ? std::string() : line + "@" + m_account.sipDomain());
    return info;
}

void CallManager::announce(int callId, const std::string& event) {
    const Entry* entry = find(callId);
    if (entry == nullptr) return;
    std::shared_ptr<ZepCallInfo> info = snapshot(callId, *entry);
    ZEP_LOG(OZKLogLevelInfo, kSrc, "call [" << callId << "] " << info->getCallState() << " " << event);
    // The record is taken now; observers get it from the pump, in order.
    m_context.queue.post([this, callId, event, info] {
        m_context.deliver<ZepCallStateObserver>(
            "onCallStateChange", [&](ZepCallStateObserver& o) { o.onCallStateChange(event, info, callId); });
        if (m_changed) m_changed(callId);
    });
}

LinphoneCall* CallManager::engineCall(int callId) {
    Entry* entry = find(callId);
    return entry != nullptr ? entry->call : nullptr;
}

void CallManager::announceTransfer(int callId) {
    ZEP_LOG(OZKLogLevelInfo, kSrc, "call [" << callId << "] transfer changed");
    m_context.queue.post([this, callId] {
        m_context.deliver<ZepCallStateObserver>(
            "onAttendedTransferStateChange", [&](ZepCallStateObserver& o) { o.onAttendedTransferStateChange(callId); });
    });
}

// --- Engine events ---------------------------------------------------------------

void CallManager::handleState(LinphoneCall* call, int engineState) {
    int id = idOf(call);
    if (id == 0) {
        // Calls we never saw before end here without a word to the pages.
        if (engineState == LinphoneCallStateReleased || engineState == LinphoneCallStateEnd ||
            engineState == LinphoneCallStateError)
            return;
        id = adopt(call);
    }
    Entry& entry = m_calls[id];
    retryRefusedOffers(id, entry, engineState);
    // Streams (re)started: they take the kept speaker and microphone volumes.
    if (engineState == LinphoneCallStateStreamsRunning) DeviceManager::applyVolumes(m_context.engine.core(), call);
    const CallState next = stateOf(entry);
    const CallState previous = entry.reported;
    const bool changed = !entry.announced || next != previous;
    if (changed) {
        entry.reported = next;
        entry.announced = true;
        const char* event = CallEvent::kEnded;
        switch (next) {
            case CallState::Dialing:
                event = CallEvent::kDialing;
                break;
            case CallState::Proceeding:
                event = CallEvent::kProceeding;
                break;
            case CallState::RingOut:
                event = CallEvent::kRingOut;
                break;
            case CallState::RingIn:
                event = CallEvent::kRingIn;
                break;
            case CallState::Connected:
                event = previous == CallState::Hold      ? CallEvent::kResumed
                        : previous == CallState::RemHold ? CallEvent::kRemoteResumed
                                                         : CallEvent::kConnected;
                break;
            case CallState::Hold:
                event = CallEvent::kHeld;
                break;
            case CallState::RemHold:
                event = CallEvent::kRemoteHeld;
                break;
            case CallState::Reorder:
                event = CallEvent::kFailed;
                break;
            case CallState::Idle:
                event = CallEvent::kEnded;
                break;
        }
        announce(id, event);
        if (next == CallState::Connected && entry.audioMuted != entry.sdpMuted) {
            entry.syncUntil = std::chrono::steady_clock::now() + kSettleWait;
            offerAudioAfter(id, entry, std::chrono::milliseconds(0));
        }
        // The consultation call's progress is the transfer's progress.
        if (entry.consultation && entry.transferPeer != 0) announceTransfer(entry.transferPeer);
    }
    if (engineState == LinphoneCallStateReleased || engineState == LinphoneCallStateEnd ||
        engineState == LinphoneCallStateError) {
        // A transfer whose other half ended is over.
        if (entry.transferPeer != 0) {
            const int original = entry.consultation ? entry.transferPeer : id;
            endTransfer(id);
            announceTransfer(original);
        }
    }
    if (engineState == LinphoneCallStateReleased) release(id);
    tellRinging();
}

void CallManager::tellRinging() {
    if (!m_ringing) return;
    bool in = false;
    bool out = false;
    for (const auto& item : m_calls) {
        const Entry& entry = item.second;
        in |= entry.reported == CallState::RingIn;
        // With early media the far end's own ring-back is heard instead.
        out |= entry.reported == CallState::RingOut &&
               linphone_call_get_state(entry.call) == LinphoneCallStateOutgoingRinging;
    }
    m_ringing(in, out);
}

void CallManager::retryRefusedOffers(int id, Entry& entry, int engineState) {
    if (entry.offerOut &&
        (engineState == LinphoneCallStateStreamsRunning || engineState == LinphoneCallStatePausedByRemote)) {
        entry.offerOut = false;
        if (!offerTook(entry)) {
            // Refused: a 491 when the far end's own request crossed ours.
            entry.sdpMuted = !entry.sdpMuted;
            const auto wait = afterRequestPending(entry);
            ZEP_LOG(OZKLogLevelInfo, kSrc,
                    "call [" << id << "] audio re-offer refused by the far end, again in " << wait.count() << " ms");
            offerAudioAfter(id, entry, wait);
        }
    }
    if (entry.sent && engineState != LinphoneCallStatePausing && engineState != LinphoneCallStateResuming &&
        engineState != LinphoneCallStateUpdating) {
        std::function<int(LinphoneCall*)> operation = std::move(entry.sent);
        entry.sent = nullptr;
        // Back where it started: refused, as the mute's re-offer above.
        if (engineState == entry.sentFrom) {
            const auto wait = afterRequestPending(entry);
            if (entry.waiting || std::chrono::steady_clock::now() + wait > entry.waitingUntil) {
                ZEP_LOG(OZKLogLevelWarning, kSrc,
                        "call [" << id << "] " << entry.sentName << " dropped: the far end refused it");
            } else {
                ZEP_LOG(OZKLogLevelInfo, kSrc,
                        "call [" << id << "] " << entry.sentName << " refused by the far end, again in " << wait.count()
                                 << " ms");
                entry.waiting = std::move(operation);
                entry.waitingName = entry.sentName;
                m_context.queue.postAt(std::chrono::steady_clock::now() + wait, [this, id] { runWaiting(id); });
            }
        }
    }
}

void CallManager::handleTransferState(LinphoneCall* call, int engineState) {
    const int id = idOf(call);
    if (id == 0) return;
    ZEP_LOG(OZKLogLevelInfo, kSrc,
            "call [" << id << "] transfer state ["
                     << linphone_call_state_to_string(static_cast<LinphoneCallState>(engineState)) << "]");
    announceTransfer(id);
    if (engineState == LinphoneCallStateConnected) {
        // The far ends are talking to each other: both of our legs are done.
        Entry* entry = find(id);
        const int consultation = entry != nullptr ? entry->transferPeer : 0;
        endTransfer(id);
        for (int leg : {id, consultation}) {
            Entry* e = find(leg);
            if (e != nullptr && linphone_call_get_state(e->call) != LinphoneCallStateEnd &&
                linphone_call_get_state(e->call) != LinphoneCallStateReleased)
                linphone_call_terminate(e->call);
        }
    }
}

// --- Placing and answering -------------------------------------------------------

int CallManager::recipientAddress(const std::string& recipient, std::string& uri) const {
    static const std::regex kUser("[A-Za-z0-9._~!$&'()*+,;=%-]+");
    std::string scheme = recipient.substr(0, recipient.find(':') == std::string::npos ? 0 : recipient.find(':') + 1);
    for (char& c : scheme) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (scheme == "sip:" || scheme == "sips:") {
        uri = recipient;
    } else if (std::regex_match(recipient, kUser)) {
        uri = "sip:" + recipient + "@" + m_account.sipDomain();
    } else {
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    LinphoneAddress* address = linphone_factory_create_address(linphone_factory_get(), uri.c_str());
    if (address == nullptr) return ApiReturnCodeEnum::eInvalidArgument;
    const bool hasUser = !text(linphone_address_get_username(address)).empty();
    linphone_address_unref(address);
    return hasUser ? ApiReturnCodeEnum::eNoError : ApiReturnCodeEnum::eInvalidArgument;
}

LinphoneCallParams* CallManager::paramsFor(LinphoneCall* call, VideoDirection video) const {
    LinphoneCallParams* params = linphone_core_create_call_params(m_context.engine.core(), call);
    const bool withVideo = video != VideoDirection::Inactive;
    linphone_call_params_enable_video(params, withVideo ? TRUE : FALSE);
    if (withVideo) linphone_call_params_set_video_direction(params, engineDirection(video));
    return params;
}

int CallManager::placeCall(const std::string& uri, VideoDirection video, int& callId) {
    LinphoneCore* core = m_context.engine.core();
    LinphoneAddress* address = linphone_factory_create_address(linphone_factory_get(), uri.c_str());
    if (address == nullptr) return ApiReturnCodeEnum::eInvalidArgument;
    LinphoneCallParams* params = paramsFor(nullptr, video);
    LinphoneCall* call = linphone_core_invite_address_with_params(core, address, params);
    linphone_call_params_unref(params);
    linphone_address_unref(address);
    if (call == nullptr) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "the engine could not place the call to [" << uri << "]");
        return ApiReturnCodeEnum::eCreateCallFailed;
    }
    // The engine reported the call's first state already; that adopted it.
    callId = idOf(call);
    if (callId == 0) callId = adopt(call);
    find(callId)->video = video;
    return ApiReturnCodeEnum::eNoError;
}

int CallManager::originate(const std::string& recipient, int& callId, const std::string& videoDirection, uint64_t) {
    if (m_context.engine.core() == nullptr || m_account.currentAccount() == nullptr) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "originate: nobody signed in");
        return ApiReturnCodeEnum::eInvalidState;
    }
    VideoDirection video;
    if (!parseVideoDirection(videoDirection, video)) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "originate: unknown video direction [" << videoDirection << "]");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    std::string uri;
    if (recipientAddress(recipient, uri) != ApiReturnCodeEnum::eNoError) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "originate: malformed recipient [" << recipient << "]");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, "originate to [" << uri << "]");
    return placeCall(uri, video, callId);
}

int CallManager::answer(int callId, const std::string& videoDirection, uint64_t) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    VideoDirection video;
    if (!parseVideoDirection(videoDirection, video)) return ApiReturnCodeEnum::eInvalidArgument;
    if (entry->reported != CallState::RingIn) return ApiReturnCodeEnum::eInvalidState;
    LinphoneCallParams* params = paramsFor(entry->call, video);
    // Set first: the engine reports the call connected from within accept,
    // and that event must carry the direction answered with.
    const VideoDirection before = entry->video;
    entry->video = video;
    const LinphoneStatus status = linphone_call_accept_with_params(entry->call, params);
    linphone_call_params_unref(params);
    if (status != 0) {
        entry = find(callId);
        if (entry != nullptr) entry->video = before;
        return ApiReturnCodeEnum::eCallOperationFailed;
    }
    return ApiReturnCodeEnum::eNoError;
}

int CallManager::endCall(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (entry->reported == CallState::Idle || entry->reported == CallState::Reorder)
        return ApiReturnCodeEnum::eInvalidState;
    return linphone_call_terminate(entry->call) == 0 ? ApiReturnCodeEnum::eNoError
                                                     : ApiReturnCodeEnum::eCallOperationFailed;
}

// --- In the call -----------------------------------------------------------------

int CallManager::mute(int callId, bool audio, bool video) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (!talking(entry->reported) && entry->reported != CallState::Hold) return ApiReturnCodeEnum::eInvalidState;
    return setMuted(callId, audio ? 1 : -1, video ? 1 : -1);
}

int CallManager::unmute(int callId, bool audio, bool video) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (!talking(entry->reported) && entry->reported != CallState::Hold) return ApiReturnCodeEnum::eInvalidState;
    return setMuted(callId, audio ? 0 : -1, video ? 0 : -1);
}

int CallManager::setMuted(int callId, int audio, int video) {
    Entry* entry = find(callId);
    const bool audioMuted = audio < 0 ? entry->audioMuted : audio == 1;
    const bool videoMuted = video < 0 ? entry->videoMuted : video == 1;
    if (audioMuted == entry->audioMuted && videoMuted == entry->videoMuted) return ApiReturnCodeEnum::eNoError;
    if (audioMuted != entry->audioMuted) linphone_call_set_microphone_muted(entry->call, audioMuted ? TRUE : FALSE);
    if (videoMuted != entry->videoMuted) linphone_call_enable_camera(entry->call, videoMuted ? FALSE : TRUE);
    entry->audioMuted = audioMuted;
    entry->videoMuted = videoMuted;
    entry->syncUntil = std::chrono::steady_clock::now() + kSettleWait;
    if (!entry->syncPosted) syncOfferedAudio(callId);
    announce(callId, CallEvent::kMediaChanged);
    return ApiReturnCodeEnum::eNoError;
}

void CallManager::syncOfferedAudio(int callId) {
    // A file played as the microphone (no sound card chosen) is mixed in past
    // the microphone gain, so muting it locally changes nothing: a mute stops
    // our audio in the media description instead. The engine takes a new
    // offer only between two transactions; a held call catches up once back.
    Entry* entry = find(callId);
    if (entry == nullptr) return;
    entry->syncPosted = false;
    if (!linphone_core_get_use_files(m_context.engine.core())) return;
    if (entry->audioMuted == entry->sdpMuted || !talking(entry->reported)) return;
    const LinphoneCallState now = linphone_call_get_state(entry->call);
    if (now != LinphoneCallStateStreamsRunning && now != LinphoneCallStatePausedByRemote) {
        offerAudioAfter(callId, *entry, kSettlePoll);
        return;
    }
    LinphoneCallParams* params = paramsFor(entry->call, entry->video);
    linphone_call_params_set_audio_direction(
        params, entry->audioMuted ? LinphoneMediaDirectionRecvOnly : LinphoneMediaDirectionSendRecv);
    const LinphoneStatus status = linphone_call_update(entry->call, params);
    linphone_call_params_unref(params);
    if (status != 0) {
        offerAudioAfter(callId, *entry, kOfferRetry);
        return;
    }
    entry->sdpMuted = entry->audioMuted;
    entry->offerOut = true;
}

void CallManager::offerAudioAfter(int callId, Entry& entry, std::chrono::milliseconds wait) {
    if (entry.syncPosted) return;
    const auto when = std::chrono::steady_clock::now() + wait;
    if (when > entry.syncUntil) {
        ZEP_LOG(OZKLogLevelWarning, kSrc,
                "call [" << callId << "] audio direction not renegotiated: the far end still "
                         << (entry.audioMuted ? "hears" : "does not hear") << " us");
        return;
    }
    entry.syncPosted = true;
    m_context.queue.postAt(when, [this, callId] { syncOfferedAudio(callId); });
}

bool CallManager::offerTook(const Entry& entry) {
    // Our offer's direction decides ours in any answer to it: "recvonly" never
    // sends, "sendrecv" sends unless the far end holds us meanwhile (then
    // offering again is harmless, and bounded by syncUntil).
    const LinphoneCallParams* current = linphone_call_get_current_params(entry.call);
    const LinphoneMediaDirection d =
        current != nullptr ? linphone_call_params_get_audio_direction(current) : LinphoneMediaDirectionInactive;
    const bool sending = d == LinphoneMediaDirectionSendRecv || d == LinphoneMediaDirectionSendOnly;
    return sending != entry.sdpMuted;
}

long CallManager::msUntilEngineRound() const {
    if (m_calls.empty()) return -1;
    for (const auto& item : m_calls) {
        switch (linphone_call_get_state(item.second.call)) {
            case LinphoneCallStateStreamsRunning:
            case LinphoneCallStatePaused:
            case LinphoneCallStatePausedByRemote:
                continue;
            default:
                return kQuickRound;
        }
    }
    return kSettledCallRound;
}

int CallManager::hold(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (!talking(entry->reported)) return ApiReturnCodeEnum::eInvalidState;
    return whenSettled(callId, "hold", [](LinphoneCall* call) { return linphone_call_pause(call); });
}

int CallManager::resume(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (entry->reported != CallState::Hold) return ApiReturnCodeEnum::eInvalidState;
    return whenSettled(callId, "resume", [](LinphoneCall* call) { return linphone_call_resume(call); });
}

int CallManager::whenSettled(int callId, const char* name, std::function<int(LinphoneCall*)> operation) {
    Entry* entry = find(callId);
    if (entry->waiting) return ApiReturnCodeEnum::eInvalidState;  // one at a time
    entry->waitingUntil = std::chrono::steady_clock::now() + kSettleWait;
    if (!negotiating(entry->call)) {
        return sendOperation(callId, *entry, name, operation) ? ApiReturnCodeEnum::eNoError
                                                              : ApiReturnCodeEnum::eCallOperationFailed;
    }
    // Accepted now, made once the call settles: the page learns the outcome
    // from the call-state events, as it does for a hold made at once.
    ZEP_LOG(OZKLogLevelInfo, kSrc, "call [" << callId << "] " << name << " waits for the media update under way");
    entry->waiting = std::move(operation);
    entry->waitingName = name;
    m_context.queue.post([this, callId] { runWaiting(callId); });
    return ApiReturnCodeEnum::eNoError;
}

bool CallManager::sendOperation(int callId, Entry& entry, const char* name,
                                const std::function<int(LinphoneCall*)>& operation) {
    const int before = linphone_call_get_state(entry.call);
    if (operation(entry.call) != 0) {
        ZEP_LOG(OZKLogLevelWarning, kSrc,
                "call [" << callId << "] " << name << " refused by the engine in state ["
                         << linphone_call_state_to_string(linphone_call_get_state(entry.call)) << "]");
        return false;
    }
    entry.sent = operation;
    entry.sentName = name;
    entry.sentFrom = before;
    return true;
}

std::chrono::milliseconds CallManager::afterRequestPending(const Entry& entry) {
    const int steps = entry.outgoing ? std::uniform_int_distribution<int>(210, 400)(m_random)
                                     : std::uniform_int_distribution<int>(0, 200)(m_random);
    return std::chrono::milliseconds(steps * 10);
}

void CallManager::runWaiting(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr || !entry->waiting) return;  // ended meanwhile
    if (negotiating(entry->call)) {
        const auto now = std::chrono::steady_clock::now();
        if (now < entry->waitingUntil) {
            m_context.queue.postAt(now + kSettlePoll, [this, callId] { runWaiting(callId); });
            return;
        }
        ZEP_LOG(OZKLogLevelWarning, kSrc,
                "call [" << callId << "] " << entry->waitingName << " dropped: the media update never ended");
        entry->waiting = nullptr;
        return;
    }
    const std::function<int(LinphoneCall*)> operation = std::move(entry->waiting);
    entry->waiting = nullptr;
    sendOperation(callId, *entry, entry->waitingName, operation);
}

int CallManager::iDivert(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (entry->reported != CallState::RingIn) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "iDivert: call [" << callId << "] is not ringing in");
        return ApiReturnCodeEnum::eInvalidState;
    }
    // A divert target in the engine's configuration ("[zep] divert_target",
    // a SIP address) takes the call; without one it is declined.
    LinphoneConfig* config = linphone_core_get_config(m_context.engine.core());
    const std::string target = text(linphone_config_get_string(config, "zep", "divert_target", ""));
    if (!target.empty()) {
        LinphoneAddress* address = linphone_factory_create_address(linphone_factory_get(), target.c_str());
        if (address != nullptr) {
            const LinphoneStatus status = linphone_call_redirect_to(entry->call, address);
            linphone_address_unref(address);
            ZEP_LOG(OZKLogLevelInfo, kSrc, "iDivert: call [" << callId << "] to [" << target << "]");
            return status == 0 ? ApiReturnCodeEnum::eNoError : ApiReturnCodeEnum::eCallOperationFailed;
        }
        ZEP_LOG(OZKLogLevelWarning, kSrc, "iDivert: unusable divert target [" << target << "], declining");
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, "iDivert: call [" << callId << "] declined");
    return linphone_call_decline(entry->call, LinphoneReasonDeclined) == 0 ? ApiReturnCodeEnum::eNoError
                                                                           : ApiReturnCodeEnum::eCallOperationFailed;
}

int CallManager::sendDTMF(int callId, const std::string& digit) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    char c = 0;
    if (!dtmfDigit(digit, c)) return ApiReturnCodeEnum::eInvalidArgument;
    if (!talking(entry->reported)) return ApiReturnCodeEnum::eInvalidState;
    // Digits are queued so that quick presses each get their own event.
    entry->dtmfPending.push_back(c);
    if (!m_dtmfPosted) pumpDtmf();
    return ApiReturnCodeEnum::eNoError;
}

void CallManager::pumpDtmf() {
    m_dtmfPosted = false;
    const auto now = std::chrono::steady_clock::now();
    bool waiting = false;
    for (auto& item : m_calls) {
        Entry& entry = item.second;
        if (entry.dtmfPending.empty()) continue;
        if (!talking(entry.reported)) {
            entry.dtmfPending.clear();
            continue;
        }
        if (now >= entry.dtmfNext) {
            if (linphone_call_send_dtmf(entry.call, entry.dtmfPending[0]) != 0)
                ZEP_LOG(OZKLogLevelWarning, kSrc, "call [" << item.first << "] digit not sent");
            entry.dtmfPending.erase(0, 1);
            entry.dtmfNext = now + kDtmfSpacing;
        }
        waiting |= !entry.dtmfPending.empty();
    }
    if (waiting) {
        // The pump sleeps until the first call's next digit is due.
        auto next = std::chrono::steady_clock::time_point::max();
        for (const auto& item : m_calls) {
            if (!item.second.dtmfPending.empty()) next = std::min(next, item.second.dtmfNext);
        }
        m_dtmfPosted = true;
        m_context.queue.postAt(next, [this] { pumpDtmf(); });
    }
}

int CallManager::setVideoDirection(int callId, const std::string& direction) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    VideoDirection video;
    if (!parseVideoDirection(direction, video)) return ApiReturnCodeEnum::eInvalidArgument;
    if (entry->reported != CallState::Connected) return ApiReturnCodeEnum::eInvalidState;
    if (video == entry->video) return ApiReturnCodeEnum::eNoError;
    LinphoneCallParams* params = paramsFor(entry->call, video);
    const LinphoneStatus status = linphone_call_update(entry->call, params);
    linphone_call_params_unref(params);
    if (status != 0) return ApiReturnCodeEnum::eCallOperationFailed;
    entry->video = video;
    announce(callId, CallEvent::kMediaChanged);
    return ApiReturnCodeEnum::eNoError;
}

// --- Transfer and join -----------------------------------------------------------

void CallManager::endTransfer(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr || entry->transferPeer == 0) return;
    Entry* peer = find(entry->transferPeer);
    if (peer != nullptr) {
        peer->transferPeer = 0;
        peer->consultation = false;
    }
    entry->transferPeer = 0;
    entry->consultation = false;
}

int CallManager::transferCall(int callId, const std::string& number) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (!talking(entry->reported) && entry->reported != CallState::Hold) return ApiReturnCodeEnum::eInvalidState;
    if (entry->transferPeer != 0) return ApiReturnCodeEnum::eInvalidState;
    std::string uri;
    if (recipientAddress(number, uri) != ApiReturnCodeEnum::eNoError) return ApiReturnCodeEnum::eInvalidArgument;
    if (entry->reported != CallState::Hold && linphone_call_pause(entry->call) != 0)
        return ApiReturnCodeEnum::eCallOperationFailed;
    int consultation = 0;
    const int result = placeCall(uri, VideoDirection::Inactive, consultation);
    if (result != ApiReturnCodeEnum::eNoError) return result;
    entry = find(callId);
    Entry* second = find(consultation);
    entry->transferPeer = consultation;
    second->transferPeer = callId;
    second->consultation = true;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "call [" << callId << "] transfer: consultation call [" << consultation << "]");
    announceTransfer(callId);
    return ApiReturnCodeEnum::eNoError;
}

int CallManager::completeTransferCall(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (entry->transferPeer == 0) return ApiReturnCodeEnum::eInvalidState;
    const int original = entry->consultation ? entry->transferPeer : callId;
    const int consultation = entry->consultation ? callId : entry->transferPeer;
    Entry* held = find(original);
    Entry* second = find(consultation);
    if (held == nullptr || second == nullptr || second->reported != CallState::Connected)
        return ApiReturnCodeEnum::eInvalidState;
    ZEP_LOG(OZKLogLevelInfo, kSrc,
            "call [" << original << "] transferred to the party of call [" << consultation << "]");
    return linphone_call_transfer_to_another(held->call, second->call) == 0 ? ApiReturnCodeEnum::eNoError
                                                                            : ApiReturnCodeEnum::eCallOperationFailed;
}

int CallManager::cancelTransfer(int callId) {
    Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (entry->transferPeer == 0) return ApiReturnCodeEnum::eInvalidState;
    const int original = entry->consultation ? entry->transferPeer : callId;
    const int consultation = entry->consultation ? callId : entry->transferPeer;
    endTransfer(original);
    Entry* second = find(consultation);
    if (second != nullptr && second->reported != CallState::Idle) linphone_call_terminate(second->call);
    Entry* held = find(original);
    if (held != nullptr && held->reported == CallState::Hold) linphone_call_resume(held->call);
    ZEP_LOG(OZKLogLevelInfo, kSrc, "call [" << original << "] transfer cancelled");
    announceTransfer(original);
    return ApiReturnCodeEnum::eNoError;
}

int CallManager::joinCalls(int callId, int joinCallId) {
    Entry* first = find(callId);
    Entry* second = find(joinCallId);
    if (first == nullptr || second == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (callId == joinCallId) return ApiReturnCodeEnum::eInvalidArgument;
    for (const Entry* e : {first, second}) {
        if (!talking(e->reported) && e->reported != CallState::Hold) return ApiReturnCodeEnum::eInvalidState;
    }
    LinphoneCore* core = m_context.engine.core();
    if (m_pConference == nullptr) {
        // A conference mixed here, with ourselves in it, audio only.
        LinphoneConferenceParams* params = linphone_core_create_conference_params(core);
        linphone_conference_params_set_local_participant_enabled(params, TRUE);
        linphone_conference_params_set_audio_enabled(params, TRUE);
        linphone_conference_params_set_video_enabled(params, FALSE);
        m_pConference = linphone_core_create_conference_with_params(core, params);
        linphone_conference_params_unref(params);
        if (m_pConference == nullptr) {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "joinCalls: the engine made no conference");
            return ApiReturnCodeEnum::eCallOperationFailed;
        }
    }
    for (int id : {callId, joinCallId}) {
        Entry* e = find(id);
        if (e->conference) continue;
        // The engine's answer here is no status; the call's conference is.
        const int added = linphone_conference_add_participant(m_pConference, e->call);
        if (linphone_call_get_conference(e->call) != m_pConference) {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "joinCalls: call [" << id << "] not added [" << added << "]");
            return ApiReturnCodeEnum::eCallOperationFailed;
        }
        e->conference = true;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, "calls [" << callId << "] and [" << joinCallId << "] joined");
    announce(callId, CallEvent::kJoined);
    announce(joinCallId, CallEvent::kJoined);
    return ApiReturnCodeEnum::eNoError;
}

// --- Lists -----------------------------------------------------------------------

int CallManager::getCalls(std::vector<int>& callIds) {
    callIds.clear();
    for (const auto& item : m_calls) {
        if (item.second.reported != CallState::Idle) callIds.push_back(item.first);
    }
    return ApiReturnCodeEnum::eNoError;
}

int CallManager::getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call) {
    call.reset();
    const Entry* entry = find(callId);
    if (entry == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    call = snapshot(callId, *entry);
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace zep
}  // namespace tessel
