// Calls through the built host over its pipes, as a page places and controls
// them, against real remote parties (pela_sippeer) behind Kamailio on loopback.
#include <algorithm>
#include <functional>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "KamailioFixture.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;

namespace {

// The framework's call words (docs/telephony.md, "Calls").
const char* const kRingOut = "RingOut";
const char* const kRingIn = "RingIn";
const char* const kConnected = "Connected";
const char* const kHeld = "Hold";
const char* const kEnded = "Idle";
const std::vector<std::string> kOutgoingOrder = {"Dialing", "Proceeding", kRingOut, kConnected};

// Audio levels at a peer, dBm0: its tone sender's level is far above the first,
// silence far below the second.
constexpr double kHeard = -40.0;
constexpr double kSilent = -60.0;

class HostCallsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sip.start()) << sip.error(); }

    // The host signed in as alice. Its microphone is silence unless hostToneHz
    // names a tone for it to send; zepSettings are more lines for the engine's [zep] section.
    void signIn(double hostToneHz = 0, const std::string& zepSettings = "") {
        page = std::make_unique<SignedInHost>(sip);
        std::string config = zepSettings;
        if (hostToneHz > 0) {
            const std::string wav = files.path() + "/host.wav";
            ASSERT_TRUE(tessel::test::writeToneWav(wav, hostToneHz, 20.0));
            config += "play_file=" + wav + "\n";
        }
        if (!config.empty()) {
            page->setEngineConfig("[zep]\n" + config);
        }
        ASSERT_TRUE(page->start()) << page->why();
        ASSERT_TRUE(page->signIn("alice")) << page->why();
    }

    std::unique_ptr<SipPeer> remote(const std::string& user, double hz, bool autoAnswer) {
        SipPeer::Options options;
        options.name = user;
        options.toneHz = hz;
        options.autoAnswer = autoAnswer;
        auto peer = std::make_unique<SipPeer>(options);
        EXPECT_TRUE(peer->start()) << peer->error();
        EXPECT_TRUE(peer->registerAs(sip, user, "tcp")) << peer->logText();
        return peer;
    }

    // The reply's server message.
    ptree ask(const std::string& name, const std::string& contentJson = "") {
        return page->call(name, contentJson).get_child("norvaChannelMessage.norvaSDKServerMessage", ptree());
    }
    std::string errorOf(const std::string& name, const std::string& contentJson = "") {
        return ask(name, contentJson).get<std::string>("error", "");
    }
    static std::string onCall(int callId, const std::string& more = "") {
        return "{\"callId\": " + std::to_string(callId) + more + "}";
    }

    // The call objects of the "callstatechange" events among seen()[from...], in order.
    std::vector<ptree> changes(size_t from = 0) const {
        std::vector<ptree> out;
        const auto& seen = page->seen();
        for (size_t i = from; i < seen.size(); ++i) {
            ptree m = pelatest::parseJson(seen[i]);
            if (pelatest::isEvent(m, "callstatechange")) {
                out.push_back(m.get_child("norvaChannelMessage.norvaSDKServerMessage.content", ptree()));
            }
        }
        return out;
    }
    size_t mark() const { return page->seen().size(); }

    // The first change among seen()[from...] that satisfies pred; its call object
    // goes to *call. Reads the host until one comes or time runs out.
    bool waitChange(const std::function<bool(const ptree&)>& pred, size_t from, ptree* call = nullptr,
                    std::chrono::milliseconds timeout = 20s) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        for (;;) {
            for (const ptree& c : changes(from)) {
                if (pred(c)) {
                    if (call != nullptr) *call = c;
                    return true;
                }
            }
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left <= 0ms) return false;
            page->waitForEvent("callstatechange", left);
        }
    }
    // A change of callId (any call when 0) into state.
    bool waitState(int callId, const std::string& state, size_t from = 0, ptree* call = nullptr) {
        return waitChange(
            [&](const ptree& c) {
                return (callId == 0 || c.get<int>("callId", -1) == callId) &&
                       c.get<std::string>("callState", "") == state;
            },
            from, call);
    }
    // The callEvent of the first change of callId into state from `from` on, "" if none came.
    std::string eventInto(int callId, const std::string& state, size_t from) {
        ptree call;
        return waitState(callId, state, from, &call) ? call.get<std::string>("callEvent", "") : "";
    }
    // The states reported for callId, consecutive repeats folded.
    std::vector<std::string> statesOf(int callId) const {
        std::vector<std::string> states;
        for (const ptree& c : changes()) {
            const std::string s = c.get<std::string>("callState", "");
            if (c.get<int>("callId", -1) == callId && (states.empty() || states.back() != s)) {
                states.push_back(s);
            }
        }
        return states;
    }

    // The call objects of a "getCalls" reply.
    ptree listed() { return ask("getCalls").get_child("content.calls", ptree()); }
    std::vector<int> listedIds() {
        std::vector<int> ids;
        for (const auto& c : listed()) ids.push_back(c.second.get<int>("callId", -1));
        return ids;
    }
    // Reads the host until the call list is ids, for changes the list shows a moment later.
    bool listedBecomes(const std::vector<int>& ids) {
        for (int i = 0; i < 50; ++i) {
            if (listedIds() == ids) return true;
            std::this_thread::sleep_for(100ms);
        }
        return false;
    }

    int originate(const std::string& recipient) {
        ptree reply = ask("originate", "{\"recipient\": \"" + recipient + "\"}");
        EXPECT_EQ(reply.get<std::string>("error", ""), "") << recipient;
        return reply.get<int>("content.callId", -1);
    }
    // An outgoing call to an auto-answering peer, up to media on both sides.
    int connectTo(SipPeer& peer, const std::string& user) {
        const size_t from = mark();
        const size_t peerFrom = peer.eventCount();
        const int id = originate(user);
        if (id <= 0) return id;
        EXPECT_TRUE(waitState(id, kConnected, from)) << user << ": " << statesText(id);
        EXPECT_TRUE(peer.waitEvent("call", 10s, peerFrom));
        EXPECT_TRUE(peer.waitCallState(peer.lastCallId(), "StreamsRunning", 10s, peerFrom)) << peer.logText();
        return id;
    }
    // Signed in (sending a tone) behind a proxy that refuses each call's
    // first re-INVITE with 491, in a call to bob up to media: its id.
    void callThroughRefusingProxy(std::unique_ptr<SipPeer>& bob, int& id) {
        sip.stop();
        sip.refuseFirstReinvites();
        ASSERT_TRUE(sip.restart()) << sip.error();
        ASSERT_NO_FATAL_FAILURE(signIn(1000));
        bob = remote("bob", 660, true);
        id = connectTo(*bob, "bob");
        ASSERT_GT(id, 0);
    }
    std::string statesText(int callId) const {
        std::string text;
        for (const auto& s : statesOf(callId)) text += s + " ";
        return text;
    }

    // Polls the peer's received level until pred holds (bounded); the last level read.
    static double levelUntil(SipPeer& peer, const std::function<bool(double)>& pred, int id = 0, int tries = 40) {
        double level = 0;
        for (int i = 0; i < tries; ++i) {
            level = peer.receivedVolume(id);
            if (pred(level)) break;
            std::this_thread::sleep_for(150ms);
        }
        return level;
    }

    static bool hasCapability(const ptree& call, const std::string& name) {
        return call.get_child("capabilities", ptree()).count(name) == 1;
    }
    // How many "attendedtransferstatechange" events (naming callId, when given) are among
    // seen()[from...], reading on once for up to 10 s when there are none.
    size_t transferEvents(int callId, size_t from) {
        auto count = [&] {
            size_t n = 0;
            for (size_t i = from; i < page->seen().size(); ++i) {
                ptree m = pelatest::parseJson(page->seen()[i]);
                n += pelatest::isEvent(m, "attendedtransferstatechange") &&
                     (callId == 0 || SignedInHost::field(m, "content.callId") == std::to_string(callId));
            }
            return n;
        };
        if (count() == 0) page->waitForEvent("attendedtransferstatechange", 10s);
        return count();
    }
    // Whether the peer gets a call with `who` running with media, among its events from `from` on.
    static bool talkingTo(SipPeer& peer, const std::string& who, size_t from) {
        for (int i = 0; i < 100; ++i) {
            for (size_t e = from; e < peer.eventCount(); ++e) {
                const std::string& ev = peer.events()[e];
                if (ev.find("StreamsRunning") != std::string::npos && ev.find(who) != std::string::npos) return true;
            }
            peer.waitEvent("call", 100ms, peer.eventCount());
        }
        return false;
    }

    KamailioFixture sip;
    pelatest::TempDir files;
    std::unique_ptr<SignedInHost> page;
};

}  // namespace

TEST_F(HostCallsTest, OutgoingCallsAnsweredListedRefusedAndEndedByTheRemote) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 660, false);
    for (const char* bad : {"", "bob smith", "@sip.test", "sip:"}) {
        EXPECT_EQ(errorOf("originate", std::string("{\"recipient\": \"") + bad + "\"}"), "eInvalidArgument") << bad;
    }
    EXPECT_EQ(errorOf("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"Sideways\"}"), "eInvalidArgument");
    EXPECT_TRUE(listed().empty()) << "a refused call is not placed";

    const int id = originate("bob");
    ASSERT_GT(id, 0);
    const int b = bob->waitIncomingCall(10s);
    ASSERT_GT(b, 0) << bob->logText();
    ptree call;
    ASSERT_TRUE(waitState(id, kRingOut, 0, &call)) << statesText(id);
    EXPECT_TRUE(hasCapability(call, "canEndCall"));
    ASSERT_TRUE(bob->command("answer " + std::to_string(b)));
    ASSERT_TRUE(waitState(id, kConnected, 0, &call)) << statesText(id);

    // The documented states, in order (repeats folded, none skipped).
    EXPECT_EQ(statesOf(id), kOutgoingOrder);
    EXPECT_EQ(call.get<std::string>("callEvent"), "evConnected");
    EXPECT_EQ(call.get<std::string>("exists"), "true");
    EXPECT_EQ(call.get<int>("numericState"), 5);
    EXPECT_EQ(call.get<std::string>("callType"), "Outgoing");
    EXPECT_EQ(call.get<std::string>("videoDirection"), "Inactive");
    EXPECT_EQ(call.get<std::string>("localParticipant.directoryNumber"), "alice");
    ASSERT_EQ(call.get_child("participants").size(), 1u);
    EXPECT_EQ(call.get_child("participants").front().second.get<std::string>("number"), "bob");
    EXPECT_EQ(call.get_child("participants").front().second.get<std::string>("uri"), "sip:bob@" + sip.domain());
    for (const char* cap : {"canHold", "canEndCall", "canTransfer"}) EXPECT_TRUE(hasCapability(call, cap)) << cap;
    for (const char* cap : {"canAnswer", "canResume", "canCompleteTransfer"})
        EXPECT_FALSE(hasCapability(call, cap)) << cap;

    // Refused requests reach the page and leave the call and the remote alone.
    const size_t peerFrom = bob->eventCount();
    EXPECT_EQ(errorOf("hold", onCall(987)), "eInvalidCallId");
    EXPECT_EQ(errorOf("answer", onCall(id)), "eInvalidState");
    EXPECT_EQ(errorOf("resume", onCall(id)), "eInvalidState");
    EXPECT_EQ(errorOf("iDivert", onCall(id)), "eInvalidState");
    EXPECT_EQ(errorOf("completeTransfer", onCall(id)), "eInvalidState") << "no transfer under way";
    EXPECT_EQ(errorOf("hold", onCall(id, ", \"when\": \"now\"")), "eInvalidArgument");
    EXPECT_EQ(errorOf("hold"), "eInvalidArgument");
    std::this_thread::sleep_for(500ms);
    bob->poll();
    EXPECT_EQ(bob->eventCount(), peerFrom);
    ptree calls = listed();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls.front().second.get<int>("callId"), id);
    EXPECT_EQ(calls.front().second.get<std::string>("callState"), kConnected);
    EXPECT_EQ(calls.front().second.get<std::string>("callEvent"), "evOther");

    // A second call, to a URI written in capitals, gets a later id; both are listed in id order.
    auto carol = remote("carol", 880, true);
    const int second = connectTo(*carol, "SIP:carol@" + sip.domain());
    EXPECT_GT(second, id);
    EXPECT_EQ(listedIds(), (std::vector<int>{id, second}));
    EXPECT_EQ(errorOf("endCall", onCall(second)), "");

    const size_t from = mark();
    ASSERT_TRUE(bob->command("hangup " + std::to_string(b)));
    ASSERT_TRUE(waitState(id, kEnded, from, &call)) << statesText(id);
    EXPECT_EQ(call.get<std::string>("callEvent"), "evEnded");
    EXPECT_TRUE(call.get_child("capabilities").empty());
    EXPECT_TRUE(listedBecomes({}));
    EXPECT_EQ(errorOf("hold", onCall(id)), "eInvalidCallId") << "an ended call's id is unknown";
}

TEST_F(HostCallsTest, IncomingCallAnsweredEndedThenDeclinedByDivert) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 660, false);
    ASSERT_TRUE(bob->command("call " + sip.userUri("alice")));
    ptree ringing;
    ASSERT_TRUE(waitState(0, kRingIn, 0, &ringing));
    const int id = ringing.get<int>("callId");
    EXPECT_EQ(ringing.get<std::string>("callEvent"), "evRingIn");
    EXPECT_EQ(ringing.get<int>("numericState"), 4);
    EXPECT_EQ(ringing.get<std::string>("callType"), "Incoming");
    EXPECT_EQ(ringing.get_child("participants").front().second.get<std::string>("number"), "bob");
    EXPECT_TRUE(hasCapability(ringing, "canAnswer"));
    EXPECT_TRUE(hasCapability(ringing, "canImmediateDivert"));
    EXPECT_FALSE(hasCapability(ringing, "canHold"));
    EXPECT_EQ(errorOf("hold", onCall(id)), "eInvalidState");

    EXPECT_EQ(errorOf("answer", onCall(id)), "");
    EXPECT_TRUE(waitState(id, kConnected)) << statesText(id);
    EXPECT_TRUE(bob->waitCallState(bob->lastCallId(), "StreamsRunning", 10s)) << bob->logText();
    EXPECT_EQ(errorOf("iDivert", onCall(id)), "eInvalidState") << "a connected call is not diverted";
    EXPECT_EQ(errorOf("endCall", onCall(id)), "");
    EXPECT_TRUE(waitState(id, kEnded)) << statesText(id);
    EXPECT_TRUE(bob->waitCallState(bob->lastCallId(), "Released", 10s));

    // Ringing again: divert without a configured target declines it, 603 at the caller.
    const size_t from = mark();
    const size_t peerFrom = bob->eventCount();
    std::string reply;  // "ok call <id>"
    ASSERT_TRUE(bob->command("call " + sip.userUri("alice"), &reply));
    ASSERT_TRUE(waitState(0, kRingIn, from, &ringing));
    const int again = ringing.get<int>("callId");
    EXPECT_GT(again, id);
    EXPECT_EQ(errorOf("iDivert", onCall(again)), "");
    EXPECT_TRUE(bob->waitEvent("call " + reply.substr(reply.rfind(' ') + 1) + " End 603", 10s, peerFrom))
        << ::testing::PrintToString(bob->events());
    EXPECT_TRUE(waitState(again, kEnded, from)) << statesText(again);
}

TEST_F(HostCallsTest, IncomingCallDivertedToTheConfiguredTarget) {
    ASSERT_NO_FATAL_FAILURE(signIn(0, "divert_target=" + sip.userUri("carol") + "\n"));
    auto bob = remote("bob", 660, false);
    auto carol = remote("carol", 880, false);
    ASSERT_TRUE(bob->command("call " + sip.userUri("alice")));
    ptree ringing;
    ASSERT_TRUE(waitState(0, kRingIn, 0, &ringing));
    EXPECT_EQ(errorOf("iDivert", onCall(ringing.get<int>("callId"))), "");
    // The redirect (302) reaches bob; his engine follows it to carol.
    EXPECT_GT(carol->waitIncomingCall(15s), 0) << ::testing::PrintToString(bob->events());
}

TEST_F(HostCallsTest, HoldMuteKeypadAndVideoReachTheRemoteAndClosingEndsTheCall) {
    ASSERT_NO_FATAL_FAILURE(signIn(1000));
    auto bob = remote("bob", 660, true);
    const int id = connectTo(*bob, "bob");
    ASSERT_GT(id, 0);
    const int b = bob->lastCallId();
    const std::string bobCall = " " + std::to_string(b);

    size_t from = mark();
    size_t peerFrom = bob->eventCount();
    ptree held;
    EXPECT_EQ(errorOf("hold", onCall(id)), "");
    ASSERT_TRUE(waitState(id, kHeld, from, &held)) << statesText(id);
    EXPECT_EQ(held.get<std::string>("callEvent"), "evHeld");
    EXPECT_TRUE(hasCapability(held, "canResume"));
    EXPECT_FALSE(hasCapability(held, "canHold"));
    EXPECT_TRUE(bob->waitCallState(b, "PausedByRemote", 10s, peerFrom));
    EXPECT_EQ(errorOf("sendDTMF", onCall(id, ", \"digit\": \"1\"")), "eInvalidState") << "no digits while held";
    from = mark();
    peerFrom = bob->eventCount();
    EXPECT_EQ(errorOf("resume", onCall(id)), "");
    EXPECT_EQ(eventInto(id, kConnected, from), "evResumed") << statesText(id);
    EXPECT_TRUE(bob->waitCallState(b, "StreamsRunning", 10s, peerFrom));

    // The far end holds us, then resumes.
    from = mark();
    peerFrom = bob->eventCount();
    ASSERT_TRUE(bob->command("hold" + bobCall));
    ptree remHeld;
    ASSERT_TRUE(waitState(id, "RemHold", from, &remHeld)) << statesText(id);
    EXPECT_EQ(remHeld.get<std::string>("callEvent"), "evRemoteHeld");
    EXPECT_TRUE(hasCapability(remHeld, "canHold"));
    ASSERT_TRUE(bob->waitCallState(b, "Paused", 10s, peerFrom));
    ASSERT_TRUE(bob->command("resume" + bobCall));
    EXPECT_EQ(eventInto(id, kConnected, from), "evRemoteResumed") << statesText(id);

    // The host's microphone is heard, then silence once the call reports it muted, then heard again.
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);
    for (const bool mute : {true, false}) {
        from = mark();
        EXPECT_EQ(
            errorOf(mute ? "mute" : "unmute", onCall(id, mute ? ", \"muteAudio\": true" : ", \"unmuteAudio\": true")),
            "");
        ptree changed;
        EXPECT_TRUE(waitChange(
            [&](const ptree& c) {
                return c.get<int>("callId", -1) == id &&
                       c.get<std::string>("audioMuted", "") == (mute ? "true" : "false");
            },
            from, &changed));
        EXPECT_EQ(changed.get<std::string>("callEvent", ""), "evMediaChanged");
        EXPECT_TRUE(hasCapability(changed, mute ? "canUnmuteAudio" : "canMuteAudio"));
        if (mute) {
            EXPECT_LT(levelUntil(*bob, [](double v) { return v < kSilent; }), kSilent);
        } else {
            EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);
        }
    }
    // A hold asked for while the mute's re-offer is under way is made once it is over.
    from = mark();
    EXPECT_EQ(errorOf("mute", onCall(id, ", \"muteAudio\": true")), "");
    EXPECT_EQ(errorOf("hold", onCall(id)), "");
    ASSERT_TRUE(waitState(id, kHeld, from)) << statesText(id);
    from = mark();
    EXPECT_EQ(errorOf("resume", onCall(id)), "");
    ASSERT_TRUE(waitState(id, kConnected, from)) << statesText(id);
    EXPECT_LT(levelUntil(*bob, [](double v) { return v < kSilent; }), kSilent) << "muted, held and resumed";
    EXPECT_EQ(errorOf("unmute", onCall(id, ", \"unmuteAudio\": true")), "");
    // Muted while held: still silent once resumed.
    from = mark();
    EXPECT_EQ(errorOf("hold", onCall(id)), "");
    ASSERT_TRUE(waitState(id, kHeld, from)) << statesText(id);
    EXPECT_EQ(errorOf("mute", onCall(id, ", \"muteAudio\": true")), "");
    EXPECT_EQ(errorOf("resume", onCall(id)), "");
    ASSERT_TRUE(waitState(id, kConnected, from)) << statesText(id);
    EXPECT_LT(levelUntil(*bob, [](double v) { return v < kSilent; }), kSilent) << "muted while held";
    EXPECT_EQ(errorOf("unmute", onCall(id, ", \"unmuteAudio\": true")), "");
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);

    for (const char* bad : {"", "12", "E", "+", " "}) {
        EXPECT_EQ(errorOf("sendDTMF", onCall(id, std::string(", \"digit\": \"") + bad + "\"")), "eInvalidArgument")
            << "[" << bad << "]";
    }
    for (const char* digit : {"1", "#", "9", "*", "d", "0"}) {
        EXPECT_EQ(errorOf("sendDTMF", onCall(id, std::string(", \"digit\": \"") + digit + "\"")), "") << digit;
    }
    std::string received;
    for (int i = 0; i < 100 && received.size() < 6; ++i) {
        std::this_thread::sleep_for(100ms);
        received = bob->receivedDtmf();
    }
    EXPECT_EQ(received, "1#9*D0");

    EXPECT_EQ(errorOf("setVideoDirection", onCall(id, ", \"videoDirection\": \"Upward\"")), "eInvalidArgument");
    from = mark();
    EXPECT_EQ(errorOf("setVideoDirection", onCall(id, ", \"videoDirection\": \"RecvOnly\"")), "");
    EXPECT_TRUE(waitChange(
        [&](const ptree& c) {
            return c.get<int>("callId", -1) == id && c.get<std::string>("videoDirection", "") == "RecvOnly";
        },
        from));
    const ptree calls = listed();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls.front().second.get<std::string>("videoDirection", ""), "RecvOnly");

    // The page going away (input closed) ends the live call at the remote, and the host exits cleanly.
    peerFrom = bob->eventCount();
    page->host().closeInput();
    EXPECT_EQ(page->host().waitExit(20s), 0);
    EXPECT_TRUE(bob->waitCallState(b, "Released", 10s, peerFrom)) << bob->logText();
}

// The far end's own request crossed our mute's re-offer (491 Request
// Pending): the offer is made again, and the far end stops hearing us.
TEST_F(HostCallsTest, MuteRefusedOnceByTheFarEndIsOfferedAgain) {
    std::unique_ptr<SipPeer> bob;
    int id = 0;
    ASSERT_NO_FATAL_FAILURE(callThroughRefusingProxy(bob, id));
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);

    const size_t from = mark();
    EXPECT_EQ(errorOf("mute", onCall(id, ", \"muteAudio\": true")), "");
    EXPECT_TRUE(waitChange([](const ptree& c) { return c.get<std::string>("audioMuted", "") == "true"; }, from));
    // The caller waits 2.1 to 4 s before offering again (RFC 3261, 14.1).
    const auto silent = [](double v) { return v < kSilent; };
    EXPECT_LT(levelUntil(*bob, silent, 0, 60), kSilent) << pelatest::lastLines(page->host().logText(), 60);
    EXPECT_NE(sip.logText().find("refused: 491"), std::string::npos) << sip.logText();
    // The page saw the call muted and connected throughout: the refusal is
    // between the engines.
    for (const ptree& c : changes(from)) {
        EXPECT_EQ(c.get<std::string>("callState", ""), kConnected);
        EXPECT_EQ(c.get<std::string>("audioMuted", ""), "true");
    }

    EXPECT_EQ(errorOf("unmute", onCall(id, ", \"unmuteAudio\": true")), "");
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);
}

// The same for a hold: made again, and the page hears of it once it is made.
TEST_F(HostCallsTest, HoldRefusedOnceByTheFarEndIsMadeAgain) {
    std::unique_ptr<SipPeer> bob;
    int id = 0;
    ASSERT_NO_FATAL_FAILURE(callThroughRefusingProxy(bob, id));
    const int b = bob->lastCallId();
    size_t from = mark();
    size_t peerFrom = bob->eventCount();
    EXPECT_EQ(errorOf("hold", onCall(id)), "");
    ASSERT_TRUE(waitState(id, kHeld, from)) << statesText(id);
    EXPECT_EQ(statesText(id), "Dialing Proceeding Connected Hold ");
    EXPECT_NE(sip.logText().find("refused: 491"), std::string::npos) << sip.logText();
    EXPECT_TRUE(bob->waitCallState(b, "PausedByRemote", 10s, peerFrom));
    from = mark();
    peerFrom = bob->eventCount();
    EXPECT_EQ(errorOf("resume", onCall(id)), "");
    EXPECT_EQ(eventInto(id, kConnected, from), "evResumed") << statesText(id);
    EXPECT_TRUE(bob->waitCallState(b, "StreamsRunning", 10s, peerFrom));
}

TEST_F(HostCallsTest, AttendedTransferCancelledThenCompleted) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 440, true);
    auto carol = remote("carol", 660, true);
    const int id = connectTo(*bob, "bob");
    ASSERT_GT(id, 0);
    const int b = bob->lastCallId();

    // Cancelled: the consultation call ends and bob is resumed.
    size_t from = mark();
    EXPECT_EQ(errorOf("transferCall", onCall(id, ", \"transferToNumber\": \"carol\"")), "");
    EXPECT_EQ(errorOf("transferCall", onCall(id, ", \"transferToNumber\": \"carol\"")), "eInvalidState");
    EXPECT_TRUE(waitState(id, kHeld, from)) << statesText(id);
    ptree consult;
    ASSERT_TRUE(waitState(0, kConnected, from, &consult));
    int consultId = consult.get<int>("callId");
    ASSERT_NE(consultId, id);
    EXPECT_TRUE(hasCapability(consult, "canCompleteTransfer") && hasCapability(consult, "canCancelTransfer"));
    EXPECT_GT(transferEvents(id, 0), 0u);
    const int c = carol->lastCallId();
    from = mark();
    size_t bobFrom = bob->eventCount();
    EXPECT_EQ(errorOf("cancelTransfer", onCall(id)), "");
    EXPECT_TRUE(waitState(consultId, kEnded, from)) << statesText(consultId);
    ptree back;
    EXPECT_TRUE(waitState(id, kConnected, from, &back)) << statesText(id);
    EXPECT_TRUE(hasCapability(back, "canTransfer"));
    EXPECT_FALSE(hasCapability(back, "canCancelTransfer"));
    EXPECT_TRUE(carol->waitCallState(c, "Released", 10s));
    EXPECT_TRUE(bob->waitCallState(b, "StreamsRunning", 10s, bobFrom));
    EXPECT_TRUE(listedBecomes({id}));

    // Completed (from the consultation call's side): bob and carol talk, we are out.
    from = mark();
    bobFrom = bob->eventCount();
    const size_t carolFrom = carol->eventCount();
    EXPECT_EQ(errorOf("transferCall", onCall(id, ", \"transferToNumber\": \"sip:carol@" + sip.domain() + "\"")), "");
    ASSERT_TRUE(waitState(0, kConnected, from, &consult));
    consultId = consult.get<int>("callId");
    EXPECT_EQ(listedIds(), (std::vector<int>{id, consultId}));
    EXPECT_TRUE(carol->waitCallState(carol->lastCallId(), "StreamsRunning", 10s, carolFrom));
    const size_t beforeComplete = mark();
    EXPECT_EQ(errorOf("completeTransfer", onCall(consultId)), "");
    EXPECT_TRUE(waitState(id, kEnded, from)) << statesText(id);
    EXPECT_TRUE(waitState(consultId, kEnded, from)) << statesText(consultId);
    EXPECT_GT(transferEvents(0, beforeComplete), 0u);
    // Bob's new call goes to carol, with media, and he hears her tone.
    EXPECT_TRUE(talkingTo(*bob, "carol", bobFrom)) << bob->logText();
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);
    EXPECT_TRUE(listedBecomes({}));
}

TEST_F(HostCallsTest, JoinedCallsHearEachOther) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 440, true);
    auto carol = remote("carol", 660, true);
    const int toBob = connectTo(*bob, "bob");
    ASSERT_GT(toBob, 0);
    const int toCarol = connectTo(*carol, "carol");
    ASSERT_GT(toCarol, 0);
    const size_t from = mark();
    const std::string pair = "{\"callId\": " + std::to_string(toBob) + ", \"joinCallId\": ";
    EXPECT_EQ(errorOf("joinCalls", pair + std::to_string(toCarol) + ", \"mix\": true}"), "eInvalidArgument");
    EXPECT_EQ(errorOf("joinCalls", pair + std::to_string(toBob) + "}"), "eInvalidArgument");
    EXPECT_EQ(errorOf("joinCalls", pair + "999}"), "eInvalidCallId");
    ASSERT_EQ(errorOf("joinCalls", pair + std::to_string(toCarol) + "}"), "");
    // Each call reports joining, with both parties, and the one held while the other was placed is
    // resumed into it.
    for (const int id : {toBob, toCarol}) {
        auto in = [id](const ptree& c) {
            return c.get<int>("callId", -1) == id && c.get<std::string>("isConference", "") == "true";
        };
        EXPECT_TRUE(waitChange(
            [&](const ptree& c) { return in(c) && c.get<std::string>("callEvent", "") == "evJoined"; }, from))
            << statesText(id);
        ptree joined;
        EXPECT_TRUE(waitChange(
            [&](const ptree& c) { return in(c) && c.get<std::string>("callState", "") == kConnected; }, from, &joined))
            << statesText(id);
        EXPECT_EQ(joined.get_child("participants", ptree()).size(), 2u);
    }
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);
    EXPECT_GT(levelUntil(*carol, [](double v) { return v > kHeard; }), kHeard);
    std::this_thread::sleep_for(2s);  // mixed audio on both recordings

    EXPECT_EQ(errorOf("endCall", onCall(toBob)), "");
    EXPECT_EQ(errorOf("endCall", onCall(toCarol)), "");
    ASSERT_TRUE(bob->waitCallState(bob->lastCallId(), "Released", 10s));
    ASSERT_TRUE(carol->waitCallState(carol->lastCallId(), "Released", 10s));
    // Each recording holds the other party's tone.
    EXPECT_GT(tessel::test::toneShare(bob->recordFile(), 660, 60), 0.3);
    EXPECT_GT(tessel::test::toneShare(carol->recordFile(), 440, 60), 0.3);
}
