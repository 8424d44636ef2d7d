// Calls through the built host over its pipes, as a page places and controls
// them, against real remote parties (pela_sippeer) behind Kamailio on loopback.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <thread>

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
const char* const kCapHold = "canHold";
const char* const kCapResume = "canResume";
const char* const kCapAnswer = "canAnswer";
const char* const kCapDivert = "canImmediateDivert";

// Audio levels at a peer, dBm0: its tone sender's level is far above the first,
// silence far below the second.
constexpr double kHeard = -40.0;
constexpr double kSilent = -60.0;

class HostCallsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sip.start()) << sip.error(); }

    // The host signed in as alice. Its microphone is silence unless hostToneHz
    // names a tone for it to send.
    void signIn(double hostToneHz = 0) {
        page = std::make_unique<SignedInHost>(sip);
        if (hostToneHz > 0) {
            const std::string wav = files.path() + "/host.wav";
            ASSERT_TRUE(tessel::test::writeToneWav(wav, hostToneHz, 20.0));
            page->setEngineConfig("[zep]\nplay_file=" + wav + "\n");
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
                    if (call != nullptr) {
                        *call = c;
                    }
                    return true;
                }
            }
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left <= 0ms) {
                return false;
            }
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
        if (id <= 0) {
            return id;
        }
        EXPECT_TRUE(waitState(id, kConnected, from)) << user << ": " << statesText(id);
        EXPECT_TRUE(peer.waitEvent("call", 10s, peerFrom));
        EXPECT_TRUE(peer.waitCallState(peer.lastCallId(), "StreamsRunning", 10s, peerFrom)) << peer.logText();
        return id;
    }
    std::string statesText(int callId) const {
        std::string text;
        for (const auto& s : statesOf(callId)) text += s + " ";
        return text;
    }

    // Polls the peer's received level until pred holds (bounded); the last level read.
    static double levelUntil(SipPeer& peer, const std::function<bool(double)>& pred, int id = 0) {
        SipPeer::Stats stats;
        for (int i = 0; i < 40; ++i) {
            if (peer.stats(stats, id) && pred(stats.volumeDbm0)) {
                break;
            }
            std::this_thread::sleep_for(150ms);
        }
        return stats.volumeDbm0;
    }

    // Whether an "attendedtransferstatechange" naming callId came, reading on briefly if not yet.
    bool sawTransferEvent(int callId) {
        for (int round = 0; round < 2; ++round) {
            for (const std::string& text : page->seen()) {
                ptree m = pelatest::parseJson(text);
                if (pelatest::isEvent(m, "attendedtransferstatechange") &&
                    SignedInHost::field(m, "content.callId") == std::to_string(callId)) {
                    return true;
                }
            }
            page->waitForEvent("attendedtransferstatechange", 10s);
        }
        return false;
    }

    static bool hasCapability(const ptree& call, const std::string& name) {
        return call.get_child("capabilities").count(name) == 1;
    }

    KamailioFixture sip;
    pelatest::TempDir files;
    std::unique_ptr<SignedInHost> page;
};

}  // namespace

TEST_F(HostCallsTest, OutgoingCallAnsweredListedAndEndedByTheRemote) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 660, false);
    const int id = originate("bob");
    ASSERT_GT(id, 0);
    const int b = bob->waitIncomingCall(10s);
    ASSERT_GT(b, 0) << bob->logText();
    ASSERT_TRUE(waitState(id, kRingOut)) << statesText(id);
    ASSERT_TRUE(bob->command("answer " + std::to_string(b)));
    ptree call;
    ASSERT_TRUE(waitState(id, kConnected, 0, &call)) << statesText(id);

    // The documented states, in order (repeats folded, none skipped).
    EXPECT_EQ(statesOf(id), kOutgoingOrder);
    EXPECT_EQ(call.get<std::string>("exists"), "true");
    EXPECT_EQ(call.get<std::string>("callType"), "Outgoing");
    EXPECT_EQ(call.get<std::string>("localParticipant.directoryNumber"), "alice");
    ASSERT_EQ(call.get_child("participants").size(), 1u);
    EXPECT_NE(call.get_child("participants").front().second.get<std::string>("uri").find("bob@" + sip.domain()),
              std::string::npos);
    EXPECT_TRUE(hasCapability(call, kCapHold));
    EXPECT_FALSE(hasCapability(call, kCapAnswer));

    const ptree calls = listed();
    ASSERT_EQ(calls.size(), 1u);
    const ptree& first = calls.front().second;
    EXPECT_EQ(first.get<int>("callId"), id);
    EXPECT_EQ(first.get<std::string>("callState"), kConnected);
    EXPECT_EQ(first.get<std::string>("callEvent"), "evOther");

    ASSERT_TRUE(bob->command("hangup " + std::to_string(b)));
    EXPECT_TRUE(waitState(id, kEnded)) << statesText(id);
    EXPECT_EQ(ask("getCalls").get<std::string>("error", ""), "");
    EXPECT_TRUE(listed().empty());
}

TEST_F(HostCallsTest, IncomingCallAnsweredThenEndedByThePage) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 660, false);
    ASSERT_TRUE(bob->command("call " + sip.userUri("alice")));
    ptree ringing;
    ASSERT_TRUE(waitState(0, kRingIn, 0, &ringing));
    const int id = ringing.get<int>("callId");
    EXPECT_EQ(ringing.get<std::string>("callType"), "Incoming");
    EXPECT_TRUE(hasCapability(ringing, kCapAnswer));
    EXPECT_TRUE(hasCapability(ringing, kCapDivert));
    EXPECT_FALSE(hasCapability(ringing, kCapHold));

    EXPECT_EQ(errorOf("answer", onCall(id)), "");
    EXPECT_TRUE(waitState(id, kConnected)) << statesText(id);
    EXPECT_TRUE(bob->waitCallState(bob->lastCallId(), "StreamsRunning", 10s)) << bob->logText();

    EXPECT_EQ(errorOf("endCall", onCall(id)), "");
    EXPECT_TRUE(waitState(id, kEnded)) << statesText(id);
    EXPECT_TRUE(bob->waitCallState(bob->lastCallId(), "Released", 10s));
}

TEST_F(HostCallsTest, HoldMuteAndKeypadReachTheRemote) {
    ASSERT_NO_FATAL_FAILURE(signIn(1000));
    auto bob = remote("bob", 660, true);
    const int id = connectTo(*bob, "bob");
    ASSERT_GT(id, 0);
    const int b = bob->lastCallId();

    size_t from = mark();
    size_t peerFrom = bob->eventCount();
    ptree held;
    EXPECT_EQ(errorOf("hold", onCall(id)), "");
    ASSERT_TRUE(waitState(id, kHeld, from, &held)) << statesText(id);
    EXPECT_TRUE(hasCapability(held, kCapResume));
    EXPECT_FALSE(hasCapability(held, kCapHold));
    EXPECT_TRUE(bob->waitCallState(b, "PausedByRemote", 10s, peerFrom));
    from = mark();
    peerFrom = bob->eventCount();
    EXPECT_EQ(errorOf("resume", onCall(id)), "");
    EXPECT_TRUE(waitState(id, kConnected, from)) << statesText(id);
    EXPECT_TRUE(bob->waitCallState(b, "StreamsRunning", 10s, peerFrom));

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
        EXPECT_TRUE(hasCapability(changed, mute ? "canUnmuteAudio" : "canMuteAudio"));
        if (mute) {
            EXPECT_LT(levelUntil(*bob, [](double v) { return v < kSilent; }), kSilent);
        } else {
            EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);
        }
    }

    for (const char* digit : {"1", "#", "9", "*", "D"}) {
        EXPECT_EQ(errorOf("sendDTMF", onCall(id, std::string(", \"digit\": \"") + digit + "\"")), "") << digit;
    }
    EXPECT_EQ(errorOf("sendDTMF", onCall(id, ", \"digit\": \"E\"")), "eInvalidArgument");
    std::string received;
    for (int i = 0; i < 50 && received.size() < 5; ++i) {
        std::this_thread::sleep_for(100ms);
        received = bob->receivedDtmf();
    }
    EXPECT_EQ(received, "1#9*D");
}

TEST_F(HostCallsTest, AttendedTransferCompletedLeavesTheOtherTwoTalking) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 440, true);
    auto carol = remote("carol", 660, true);
    const int id = connectTo(*bob, "bob");
    ASSERT_GT(id, 0);
    const size_t from = mark();
    const size_t bobFrom = bob->eventCount();
    EXPECT_EQ(errorOf("transferCall", onCall(id, ", \"transferToNumber\": \"carol\"")), "");
    EXPECT_TRUE(waitState(id, kHeld, from)) << statesText(id);
    ptree consult;
    ASSERT_TRUE(waitState(0, kConnected, from, &consult));
    const int consultId = consult.get<int>("callId");
    EXPECT_NE(consultId, id);
    EXPECT_TRUE(sawTransferEvent(id));

    EXPECT_EQ(errorOf("completeTransfer", onCall(id)), "");
    EXPECT_TRUE(waitState(id, kEnded, from)) << statesText(id);
    EXPECT_TRUE(waitState(consultId, kEnded, from)) << statesText(consultId);
    // Bob's new call goes to carol, with media, and he hears her tone.
    std::string line;
    ASSERT_TRUE(bob->waitEvent("call", 10s, bobFrom, &line));
    bool bobWithCarol = false;
    for (int i = 0; i < 100 && !bobWithCarol; ++i) {
        for (size_t e = bobFrom; e < bob->eventCount(); ++e) {
            const std::string& ev = bob->events()[e];
            bobWithCarol |= ev.find("StreamsRunning") != std::string::npos && ev.find("carol") != std::string::npos;
        }
        if (!bobWithCarol) {
            bob->waitEvent("call", 100ms, bob->eventCount());
        }
    }
    EXPECT_TRUE(bobWithCarol) << bob->logText();
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);
}

TEST_F(HostCallsTest, CancelledTransferReturnsToTheHeldCall) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 440, true);
    auto carol = remote("carol", 660, true);
    const int id = connectTo(*bob, "bob");
    ASSERT_GT(id, 0);
    const int b = bob->lastCallId();
    size_t from = mark();
    EXPECT_EQ(errorOf("transferCall", onCall(id, ", \"transferToNumber\": \"carol\"")), "");
    ptree consult;
    ASSERT_TRUE(waitState(0, kConnected, from, &consult));
    const int consultId = consult.get<int>("callId");
    ASSERT_NE(consultId, id);
    const int c = carol->lastCallId();

    from = mark();
    const size_t bobFrom = bob->eventCount();
    EXPECT_EQ(errorOf("cancelTransfer", onCall(id)), "");
    EXPECT_TRUE(waitState(consultId, kEnded, from)) << statesText(consultId);
    EXPECT_TRUE(waitState(id, kConnected, from)) << statesText(id);
    EXPECT_TRUE(carol->waitCallState(c, "Released", 10s));
    EXPECT_TRUE(bob->waitCallState(b, "StreamsRunning", 10s, bobFrom));
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
    const std::string pair = "{\"callId\": " + std::to_string(toBob) + ", \"joinCallId\": " + std::to_string(toCarol);
    EXPECT_EQ(errorOf("joinCalls", pair + ", \"mix\": true}"), "eInvalidArgument");
    ASSERT_EQ(errorOf("joinCalls", pair + "}"), "");
    // Each call reports joining, and the one held while the other was placed is resumed into it.
    for (const int id : {toBob, toCarol}) {
        auto in = [id](const ptree& c) {
            return c.get<int>("callId", -1) == id && c.get<std::string>("isConference", "") == "true";
        };
        EXPECT_TRUE(waitChange(
            [&](const ptree& c) { return in(c) && c.get<std::string>("callEvent", "") == "evJoined"; }, from))
            << statesText(id);
        EXPECT_TRUE(waitChange(
            [&](const ptree& c) { return in(c) && c.get<std::string>("callState", "") == kConnected; }, from))
            << statesText(id);
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

TEST_F(HostCallsTest, RefusalsReachThePageAndLeaveTheCallAlone) {
    ASSERT_NO_FATAL_FAILURE(signIn());
    auto bob = remote("bob", 660, true);
    const int id = connectTo(*bob, "bob");
    ASSERT_GT(id, 0);
    const size_t peerFrom = bob->eventCount();
    EXPECT_EQ(errorOf("hold", onCall(987)), "eInvalidCallId");
    EXPECT_EQ(errorOf("answer", onCall(id)), "eInvalidState");
    EXPECT_EQ(errorOf("resume", onCall(id)), "eInvalidState");
    EXPECT_EQ(errorOf("iDivert", onCall(id)), "eInvalidState");
    EXPECT_EQ(errorOf("hold", onCall(id, ", \"when\": \"now\"")), "eInvalidArgument");
    EXPECT_EQ(errorOf("hold"), "eInvalidArgument");
    // None of it reached the remote party.
    std::this_thread::sleep_for(500ms);
    bob->poll();
    EXPECT_EQ(bob->eventCount(), peerFrom);
    const ptree calls = listed();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls.front().second.get<std::string>("callState"), kConnected);
}
