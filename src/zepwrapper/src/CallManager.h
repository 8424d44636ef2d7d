#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <zepwrapper/ZepCallInfo.h>

#include "CallVocabulary.h"
#include "FrameworkContext.h"

typedef struct _LinphoneCall LinphoneCall;
typedef struct _LinphoneCallParams LinphoneCallParams;
typedef struct _LinphoneConference LinphoneConference;
typedef struct _LinphoneCore LinphoneCore;
typedef struct _LinphoneCoreCbs LinphoneCoreCbs;

namespace tessel {
namespace zep {

class AccountManager;

// The calls: placing, answering, holding, transferring and joining them on
// the engine, their ids, and the call-state events. Runs on the pumping thread.
class CallManager {
public:
    CallManager(FrameworkContext context, const AccountManager& account);
    ~CallManager();
    CallManager(const CallManager&) = delete;
    CallManager& operator=(const CallManager&) = delete;

    // The core has just started / is about to stop.
    void onEngineStarted();
    void onEngineStopping();
    // Picks the sound devices or files for the next calls, from what the
    // machine has now.
    void chooseAudio();
    // How soon the engine needs its next round for the calls: quickly while
    // one is being set up or changed, at a call's pace while all are
    // settled, -1 without calls.
    long msUntilEngineRound() const;
    // Told, on every change, whether a call rings in and whether one of ours
    // rings at the far end (with no early media of its own).
    void setRingingListener(std::function<void(bool ringingIn, bool ringingOut)> listener) {
        m_ringing = std::move(listener);
    }
    // Told, from the pump after the pages' event, of every change of a call.
    void setChangeListener(std::function<void(int callId)> listener) { m_changed = std::move(listener); }
    // The engine's call of an id, null when there is none.
    LinphoneCall* engineCall(int callId);

    int joinCalls(int callId, int joinCallId);
    int transferCall(int callId, const std::string& number);
    int originate(const std::string& recipient, int& callId, const std::string& videoDirection, uint64_t windowhandle);
    int answer(int callId, const std::string& videoDirection, uint64_t windowhandle);
    int endCall(int callId);
    int mute(int callId, bool audio, bool video);
    int unmute(int callId, bool audio, bool video);
    int hold(int callId);
    int resume(int callId);
    int iDivert(int callId);
    int sendDTMF(int callId, const std::string& digit);
    int setVideoDirection(int callId, const std::string& direction);
    int completeTransferCall(int callId);
    int cancelTransfer(int callId);
    int getCalls(std::vector<int>& callIds);
    int getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call);

private:
    // What we keep of one call besides the engine's own object.
    struct Entry {
        LinphoneCall* call = nullptr;  // referenced while the entry lives
        bool outgoing = false;
        CallState reported = CallState::Idle;  // last state a page was told
        bool announced = false;                // any state told yet
        bool audioMuted = false;
        bool videoMuted = false;
        bool sdpMuted = false;    // our audio is "recvonly" in the media description for a mute
        bool syncPosted = false;  // a syncOfferedAudio waits in the queue
        bool offerOut = false;    // that re-offer is sent, its answer not seen yet
        std::chrono::steady_clock::time_point syncUntil{};  // when re-offering gives up
        VideoDirection video = VideoDirection::Inactive;
        bool conference = false;
        int transferPeer = 0;       // the other call of an attended transfer, 0 when none
        bool consultation = false;  // this is the consultation call of that transfer
        std::string dtmfPending;    // digits waiting for the previous one to finish
        std::chrono::steady_clock::time_point dtmfNext{};
        // A hold or resume asked for while an offer and answer were under way.
        std::function<int(LinphoneCall*)> waiting;
        const char* waitingName = "";
        std::chrono::steady_clock::time_point waitingUntil{};  // also when retrying gives up
        // The hold or resume sent last, made again if the far end refuses
        // it; the engine state it left, which a refusal returns to.
        std::function<int(LinphoneCall*)> sent;
        const char* sentName = "";
        int sentFrom = 0;
    };

    struct EngineCallbacks;
    friend struct EngineCallbacks;
    // Forgets every call and the engine callbacks; with tell, live calls are reported ended.
    void dropAll(bool tell);
    void handleState(LinphoneCall* call, int engineState);
    void handleTransferState(LinphoneCall* call, int engineState);
    // Once the engine settles after our re-offer (a mute's, a hold's or a
    // resume's): offers again what the far end refused.
    void retryRefusedOffers(int id, Entry& entry, int engineState);

    Entry* find(int callId);
    int idOf(LinphoneCall* call) const;
    int adopt(LinphoneCall* call);
    void release(int callId);
    CallState stateOf(const Entry& entry) const;
    std::shared_ptr<ZepCallInfo> snapshot(int callId, const Entry& entry) const;
    // Tells the observers, from the next pump, what the call looks like now.
    void announce(int callId, const std::string& event);
    void announceTransfer(int callId);
    // "sip:..." as given; a bare number or user name in the account's domain.
    int recipientAddress(const std::string& recipient, std::string& uri) const;
    LinphoneCallParams* paramsFor(LinphoneCall* call, VideoDirection video) const;
    int placeCall(const std::string& uri, VideoDirection video, int& callId);
    // 1 mutes, 0 unmutes, -1 leaves as it is; the call exists.
    int setMuted(int callId, int audio, int video);
    // Brings the audio direction we offer in line with the mute, now or
    // from a later pump when the engine is between transactions.
    void syncOfferedAudio(int callId);
    // syncOfferedAudio after wait, unless one is queued or that is past syncUntil.
    void offerAudioAfter(int callId, Entry& entry, std::chrono::milliseconds wait);
    // Whether the engine now sends what the last re-offer asked for; false
    // when the far end refused it and the old media description stands.
    static bool offerTook(const Entry& entry);
    // Runs a hold or resume now, or once the offer and answer under way
    // (a mute's re-offer, the far end's update) is over.
    int whenSettled(int callId, const char* name, std::function<int(LinphoneCall*)> operation);
    void runWaiting(int callId);
    // Runs a hold or resume now and remembers it; false when the engine refuses.
    bool sendOperation(int callId, Entry& entry, const char* name, const std::function<int(LinphoneCall*)>& operation);
    // How long to wait before offering again after the far end refused an
    // offer with 491 (RFC 3261, 14.1): 2.1 to 4 s for the side that chose
    // the Call-ID (the caller), up to 2 s for the other.
    std::chrono::milliseconds afterRequestPending(const Entry& entry);
    void endTransfer(int callId);
    void pumpDtmf();
    void tellRinging();

    FrameworkContext m_context;
    const AccountManager& m_account;
    LinphoneCoreCbs* m_pCbs = nullptr;
    LinphoneConference* m_pConference = nullptr;
    std::map<int, Entry> m_calls;  // by id: ascending ids are the stable order
    int m_nextId = 1;
    bool m_dtmfPosted = false;
    std::minstd_rand m_random{std::random_device{}()};  // waits after a 491
    std::function<void(bool, bool)> m_ringing;
    std::function<void(int)> m_changed;
};

}  // namespace zep
}  // namespace tessel
