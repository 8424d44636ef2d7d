#include "CallVocabulary.h"

#include <cctype>

namespace tessel {
namespace zep {

const char* callStateName(CallState state) {
    switch (state) {
        case CallState::Idle:
            return "Idle";
        case CallState::Dialing:
            return "Dialing";
        case CallState::Proceeding:
            return "Proceeding";
        case CallState::RingOut:
            return "RingOut";
        case CallState::RingIn:
            return "RingIn";
        case CallState::Connected:
            return "Connected";
        case CallState::Hold:
            return "Hold";
        case CallState::RemHold:
            return "RemHold";
        case CallState::Reorder:
            return "Reorder";
    }
    return "Idle";
}

const char* const kCallTypeOutgoing = "Outgoing";
const char* const kCallTypeIncoming = "Incoming";

namespace CallEvent {
const char* const kDialing = "evDialing";
const char* const kProceeding = "evProceeding";
const char* const kRingOut = "evRingOut";
const char* const kRingIn = "evRingIn";
const char* const kConnected = "evConnected";
const char* const kHeld = "evHeld";
const char* const kResumed = "evResumed";
const char* const kRemoteHeld = "evRemoteHeld";
const char* const kRemoteResumed = "evRemoteResumed";
const char* const kFailed = "evFailed";
const char* const kEnded = "evEnded";
const char* const kMediaChanged = "evMediaChanged";
const char* const kJoined = "evJoined";
}  // namespace CallEvent

bool parseVideoDirection(const std::string& word, VideoDirection& out) {
    static const struct {
        const char* word;
        VideoDirection direction;
    } kWords[] = {{"Inactive", VideoDirection::Inactive},
                  {"SendOnly", VideoDirection::SendOnly},
                  {"RecvOnly", VideoDirection::RecvOnly},
                  {"SendRecv", VideoDirection::SendRecv}};
    for (const auto& w : kWords) {
        if (word == w.word) {
            out = w.direction;
            return true;
        }
    }
    return false;
}

const char* videoDirectionName(VideoDirection direction) {
    switch (direction) {
        case VideoDirection::Inactive:
            return "Inactive";
        case VideoDirection::SendOnly:
            return "SendOnly";
        case VideoDirection::RecvOnly:
            return "RecvOnly";
        case VideoDirection::SendRecv:
            return "SendRecv";
    }
    return "Inactive";
}

std::set<std::string> capabilitiesFor(const CallSituation& s) {
    std::set<std::string> caps;
    switch (s.state) {
        case CallState::Idle:
        case CallState::Reorder:
            return caps;
        case CallState::Dialing:
        case CallState::Proceeding:
        case CallState::RingOut:
            caps.insert("canEndCall");
            return caps;
        case CallState::RingIn:
            caps.insert({"canAnswer", "canImmediateDivert", "canEndCall"});
            return caps;
        case CallState::Connected:
        case CallState::RemHold:
            caps.insert({"canEndCall", "canHold", "canSendDTMF", "canSetVideoDirection", "canJoin"});
            break;
        case CallState::Hold:
            caps.insert({"canEndCall", "canResume", "canJoin"});
            break;
    }
    caps.insert(s.audioMuted ? "canUnmuteAudio" : "canMuteAudio");
    caps.insert(s.videoMuted ? "canUnmuteVideo" : "canMuteVideo");
    if (s.inTransfer) {
        caps.insert("canCancelTransfer");
        if (s.consultationUp) caps.insert("canCompleteTransfer");
    } else {
        caps.insert("canTransfer");
    }
    return caps;
}

bool dtmfDigit(const std::string& text, char& out) {
    if (text.size() != 1) return false;
    const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    if ((c >= '0' && c <= '9') || c == '*' || c == '#' || (c >= 'A' && c <= 'D')) {
        out = c;
        return true;
    }
    return false;
}

}  // namespace zep
}  // namespace tessel
