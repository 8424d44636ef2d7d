#pragma once

#include <set>
#include <string>

namespace tessel {
namespace zep {

// The words a page sees for a call: states with their numbers, call types,
// event words, video directions and capabilities (docs/telephony.md, "Calls").
// The engine's finer states are folded into these.
enum class CallState {
    Idle = 0,        // ended, or released
    Dialing = 1,     // outgoing INVITE being built and sent
    Proceeding = 2,  // outgoing, the network answered 100 Trying
    RingOut = 3,     // outgoing, the far end rings (180/183)
    RingIn = 4,      // incoming, ringing here
    Connected = 5,   // talking
    Hold = 6,        // held by us
    RemHold = 7,     // held by the far end
    Reorder = 8      // failed: busy, declined, unreachable ...
};

const char* callStateName(CallState state);

// Call types.
extern const char* const kCallTypeOutgoing;
extern const char* const kCallTypeIncoming;

// Event words passed with each "callstatechange".
namespace CallEvent {
extern const char* const kDialing;
extern const char* const kProceeding;
extern const char* const kRingOut;
extern const char* const kRingIn;
extern const char* const kConnected;
extern const char* const kHeld;
extern const char* const kResumed;
extern const char* const kRemoteHeld;
extern const char* const kRemoteResumed;
extern const char* const kFailed;
extern const char* const kEnded;
extern const char* const kMediaChanged;
extern const char* const kJoined;
}  // namespace CallEvent

// Video directions; "" is not a direction.
enum class VideoDirection { Inactive, SendOnly, RecvOnly, SendRecv };
bool parseVideoDirection(const std::string& word, VideoDirection& out);
const char* videoDirectionName(VideoDirection direction);

// What a page may do with a call in a state. Transfer capabilities depend on
// a transfer being under way, so the caller says so.
struct CallSituation {
    CallState state = CallState::Idle;
    bool audioMuted = false;
    bool videoMuted = false;
    bool inTransfer = false;      // one of the two calls of an attended transfer
    bool consultationUp = false;  // ... and the consultation call is connected
};
std::set<std::string> capabilitiesFor(const CallSituation& situation);

// One keypad digit for RFC 4733: 0-9, *, #, A-D (a-d taken as A-D).
// false for anything else.
bool dtmfDigit(const std::string& text, char& out);

}  // namespace zep
}  // namespace tessel
