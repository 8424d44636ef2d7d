// Calls of the telephony framework library against a real Kamailio on
// loopback and real remote parties (SipPeer). The test thread drives the
// framework and pumps it, as the host's task thread does; every wait pumps
// and is bounded.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <zepwrapper/ZepObservers.h>
#include <zepwrapper/ZepWrapper.h>

#include "HostProcess.h"
#include "KamailioFixture.h"
#include "SipPeer.h"

namespace {

using namespace std::chrono_literals;
using tessel::test::KamailioFixture;
using tessel::test::SipPeer;

const int kInvalidCallId = 1;
const int kInvalidState = 11;
const int kInvalidArgument = 15;
// Received levels at a peer, dBm0: its tone is far above the first, silence far below the second.
constexpr double kHeard = -40.0;
constexpr double kSilent = -60.0;
constexpr double kOurTone = 1000.0;

struct Change {
    std::string event;
    int callId;
    std::shared_ptr<ZepCallInfo> call;
    std::string state() const { return call ? call->getCallState() : "-"; }
};

class CallRecorder : public ZepCallStateObserver {
public:
    void onCallStateChange(const std::string& event, std::shared_ptr<ZepCallInfo> call, int callId) override {
        changes.push_back({event, callId, call});
    }
    void onAttendedTransferStateChange(int callId) override { transfers.push_back(callId); }
    void onCallVideoResolutionChange(unsigned, unsigned, int) override {}
    std::deque<Change> changes;  // pointers into it stay valid as changes arrive
    std::vector<int> transfers;
};

// How many call changes had arrived when the framework said it stopped.
class StopWatcher : public ZepStartupObserver {
public:
    explicit StopWatcher(const CallRecorder& calls) : m_calls(calls) {}
    void onZepMediaDeviceFeatureSetStarted() override {}
    void onZepMediaDeviceFeatureSetStopped() override { changesAtStop = m_calls.changes.size(); }
    size_t changesAtStop = 0;

private:
    const CallRecorder& m_calls;
};

class SignInWatcher : public ZepLoginObserver {
public:
    void onSSOShowWindow(bool) override {}
    void onSSONavigateTo(const std::string&) override {}
    void onSSOInvokeResetData() override {}
    void onSSOSignInRequired(Errors) override {}
    void onUserProfileEmailAddressRequired(Errors) override { ++emailAsks; }
    void onCredentialsRequired(unsigned id, Errors) override { authenticator = id; }
    void onLoggedIn() override { loggedIn = true; }
    void onSSOSessionExpiryPromptRequired() override {}
    void onLifeCycleStateChanged(const std::string&) override {}
    void onLifeCycleSSOSessionChanged(const std::string&) override {}
    void onCanCancelSingleSignOnChanged(bool) override {}
    void onAuthenticationStatusChanged(const std::string&, const std::string&) override {}
    int emailAsks = 0;
    unsigned authenticator = 0;
    bool loggedIn = false;
};

class FrameworkCalls : public ::testing::Test {
protected:
    // divertTarget: "" for none.
    void startSignedIn(const std::string& divertTarget = "") {
        m_root = m_dir.path();
        for (const char* sub : {"/home", "/state", "/run", "/config"}) mkdir((m_root + sub).c_str(), 0700);
        for (auto var : std::map<std::string, std::string>{
                 {"HOME", "/home"}, {"XDG_STATE_HOME", "/state"}, {"XDG_RUNTIME_DIR", "/run"}, {"XDG_CONFIG_HOME", "/config"}}) {
            const char* old = std::getenv(var.first.c_str());
            m_savedEnv.emplace(var.first, old ? old : "");
            setenv(var.first.c_str(), (m_root + var.second).c_str(), 1);
        }
        const std::string folder = m_root + "/state/Marlin Web SDK";
        mkdir(folder.c_str(), 0700);
        mkdir((folder + "/zep").c_str(), 0700);
        // Loopback only; our "microphone" is a tone so that mute can be heard.
        ASSERT_TRUE(tessel::test::writeToneWav(m_root + "/ours.wav", kOurTone, 60));
        std::ofstream rc(folder + "/zep/linphonerc");
        rc << "[sip]\nbind_address=127.0.0.1\nguess_hostname=0\n[rtp]\nbind_address=127.0.0.1\n"
           << "[zep]\nplay_file=" << m_root << "/ours.wav\n";
        if (!divertTarget.empty()) rc << "divert_target=" << divertTarget << "\n";
        rc.close();

        ASSERT_TRUE(m_sip.start()) << m_sip.error();
        m_pZep = zepWrapperGetInterface();
        m_pZep->registerObserver(m_spCalls);
        m_pZep->registerObserver(m_spLogin);
        m_pZep->start();
        ASSERT_TRUE(m_pZep->isStarted());
        m_pZep->setLoryAddressList({m_sip.hostPort() + ";transport=tcp"});
        ASSERT_EQ(m_pZep->startSignIn(false), 0);
        ASSERT_TRUE(pumpUntil([&] { return m_spLogin->emailAsks > 0; }));
        ASSERT_EQ(m_pZep->setUserProfileEmailAddress("alice@" + m_sip.domain()), 0);
        ASSERT_TRUE(pumpUntil([&] { return m_spLogin->authenticator != 0; }));
        ASSERT_EQ(m_pZep->setUserProfileCredentials(m_spLogin->authenticator, "alice", m_sip.password("alice")), 0);
        ASSERT_TRUE(pumpUntil([&] { return m_spLogin->loggedIn; }));
    }

    void TearDown() override {
        if (m_pZep != nullptr) {
            m_pZep->resetData();
            m_pZep->stop();
            m_pZep->unregisterObserver(m_spCalls);
            m_pZep->unregisterObserver(m_spLogin);
        }
        for (const auto& saved : m_savedEnv) setenv(saved.first.c_str(), saved.second.c_str(), 1);
    }

    std::unique_ptr<SipPeer> remote(const std::string& user, double hz, bool autoAnswer) {
        SipPeer::Options options;
        options.name = user;
        options.toneHz = hz;
        options.autoAnswer = autoAnswer;
        auto peer = std::make_unique<SipPeer>(options);
        EXPECT_TRUE(peer->start()) << peer->error();
        EXPECT_TRUE(peer->registerAs(m_sip, user, "tcp")) << peer->logText();
        return peer;
    }

    bool pumpUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = 15s) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < deadline) {
            m_pZep->pumpNextDispatcherTask();
            if (done()) return true;
            usleep(2000);
        }
        return false;
    }
    // The first change of callId into state at or after change number from.
    const Change* change(int callId, const std::string& state, size_t from = 0) const {
        for (size_t i = from; i < m_spCalls->changes.size(); ++i) {
            const Change& c = m_spCalls->changes[i];
            if (c.callId == callId && c.state() == state) return &c;
        }
        return nullptr;
    }
    const Change* waitState(int callId, const std::string& state, size_t from = 0) {
        pumpUntil([&] { return change(callId, state, from) != nullptr; });
        return change(callId, state, from);
    }
    size_t mark() const { return m_spCalls->changes.size(); }
    std::vector<std::string> statesOf(int callId) const {
        std::vector<std::string> out;
        for (const Change& c : m_spCalls->changes) {
            if (c.callId == callId && (out.empty() || out.back() != c.state())) out.push_back(c.state());
        }
        return out;
    }
    bool peerCallState(SipPeer& peer, const std::string& state, size_t from = 0) {
        return pumpUntil([&] {
            peer.poll();
            for (size_t i = from; i < peer.events().size(); ++i) {
                const std::string& e = peer.events()[i];
                if (e.compare(0, 11, "event call ") == 0 && e.find(" " + state + " ") != std::string::npos) return true;
            }
            return false;
        });
    }
    // The received level at the peer once it satisfies ok, pumping for a few seconds.
    double levelUntil(SipPeer& peer, const std::function<bool(double)>& ok) {
        SipPeer::Stats stats;
        pumpUntil([&] { return peer.stats(stats) && ok(stats.volumeDbm0); }, 6s);
        return stats.volumeDbm0;
    }
    static bool has(const Change* c, const std::string& capability) {
        return c != nullptr && c->call->getCapabilitySet().count(capability) == 1;
    }
    int connectTo(SipPeer& peer, const std::string& user) {
        const size_t from = peer.eventCount();
        int id = -1;
        EXPECT_EQ(m_pZep->originate(user, id, "Inactive", 0), 0);
        EXPECT_NE(waitState(id, "Connected"), nullptr);
        EXPECT_TRUE(peerCallState(peer, "StreamsRunning", from)) << peer.logText();
        return id;
    }
    std::vector<int> calls() {
        std::vector<int> ids;
        EXPECT_EQ(m_pZep->getCalls(ids), 0);
        return ids;
    }

    pelatest::TempDir m_dir;
    std::string m_root;
    std::map<std::string, std::string> m_savedEnv;
    KamailioFixture m_sip;
    ZepWrapperAPI* m_pZep = nullptr;
    std::shared_ptr<CallRecorder> m_spCalls = std::make_shared<CallRecorder>();
    std::shared_ptr<SignInWatcher> m_spLogin = std::make_shared<SignInWatcher>();
};

TEST_F(FrameworkCalls, OutgoingCallAnsweredListedAndEndedByTheRemote) {
    startSignedIn();
    auto bob = remote("bob", 660, false);
    int id = -100;
    EXPECT_EQ(m_pZep->originate("bob", id, "Sideways", 0), kInvalidArgument);
    for (const char* bad : {"", "bob smith", "@sip.test", "sip:"}) {
        EXPECT_EQ(m_pZep->originate(bad, id, "Inactive", 0), kInvalidArgument) << "[" << bad << "]";
    }
    EXPECT_EQ(id, -100);

    ASSERT_EQ(m_pZep->originate("bob", id, "Inactive", 0), 0);
    ASSERT_GT(id, 0);
    ASSERT_NE(waitState(id, "RingOut"), nullptr) << ::testing::PrintToString(statesOf(id));
    EXPECT_TRUE(has(waitState(id, "RingOut"), "canEndCall"));
    ASSERT_TRUE(peerCallState(*bob, "IncomingReceived"));
    ASSERT_TRUE(bob->command("answer"));
    const Change* connected = waitState(id, "Connected");
    ASSERT_NE(connected, nullptr) << ::testing::PrintToString(statesOf(id));
    EXPECT_EQ(statesOf(id), (std::vector<std::string>{"Dialing", "Proceeding", "RingOut", "Connected"}));
    EXPECT_EQ(connected->event, "evConnected");
    const ZepCallInfo& call = *connected->call;
    EXPECT_EQ(call.getCallStateNumeric(), 5);
    EXPECT_EQ(call.getCallType(), "Outgoing");
    EXPECT_EQ(call.getVideoDirection(), "Inactive");
    EXPECT_TRUE(call.getLine());
    EXPECT_EQ(call.getNumber(), "alice");
    ASSERT_EQ(call.getOtherParticipants().size(), 1u);
    EXPECT_EQ(call.getOtherParticipants()[0]->getNumber(), "bob");
    EXPECT_EQ(call.getOtherParticipants()[0]->getUri(), "sip:bob@" + m_sip.domain());
    EXPECT_TRUE(has(connected, "canHold") && has(connected, "canEndCall") && has(connected, "canTransfer"));
    EXPECT_FALSE(has(connected, "canAnswer") || has(connected, "canResume") || has(connected, "canCompleteTransfer"));
    EXPECT_EQ(calls(), std::vector<int>{id});

    // A second call gets the next id; both are listed in id order.
    auto carol = remote("carol", 880, true);
    const int second = connectTo(*carol, "SIP:carol@" + m_sip.domain());
    EXPECT_GT(second, id);
    EXPECT_EQ(calls(), (std::vector<int>{id, second}));
    EXPECT_EQ(m_pZep->endCall(second), 0);

    const size_t from = mark();
    ASSERT_TRUE(bob->command("hangup"));
    const Change* ended = waitState(id, "Idle", from);
    ASSERT_NE(ended, nullptr);
    EXPECT_EQ(ended->event, "evEnded");
    EXPECT_TRUE(ended->call->getCapabilitySet().empty());
    EXPECT_TRUE(pumpUntil([&] { return calls().empty(); }));
    auto info = std::make_shared<ZepCallInfo>();
    EXPECT_TRUE(pumpUntil([&] { return m_pZep->getCallInfo(id, info) == kInvalidCallId; }));
    EXPECT_EQ(info, nullptr);
}

TEST_F(FrameworkCalls, IncomingCallAnsweredEndedAndDeclinedByDivert) {
    startSignedIn();
    auto bob = remote("bob", 660, false);
    ASSERT_TRUE(bob->command("call sip:alice@" + m_sip.domain()));
    const Change* ringing = nullptr;
    ASSERT_TRUE(pumpUntil([&] {
        for (const Change& c : m_spCalls->changes) ringing = c.state() == "RingIn" ? &c : ringing;
        return ringing != nullptr;
    }));
    const int id = ringing->callId;
    EXPECT_EQ(ringing->event, "evRingIn");
    EXPECT_EQ(ringing->call->getCallType(), "Incoming");
    EXPECT_EQ(ringing->call->getCallStateNumeric(), 4);
    EXPECT_TRUE(has(ringing, "canAnswer") && has(ringing, "canImmediateDivert"));
    EXPECT_FALSE(has(ringing, "canHold"));
    EXPECT_EQ(ringing->call->getOtherParticipants().at(0)->getNumber(), "bob");
    EXPECT_EQ(m_pZep->hold(id), kInvalidState);

    EXPECT_EQ(m_pZep->answer(id, "Inactive", 0), 0);
    ASSERT_NE(waitState(id, "Connected"), nullptr);
    EXPECT_TRUE(peerCallState(*bob, "StreamsRunning")) << bob->logText();
    EXPECT_EQ(m_pZep->iDivert(id), kInvalidState) << "a connected call is not diverted";
    EXPECT_EQ(m_pZep->answer(id, "Inactive", 0), kInvalidState);
    EXPECT_EQ(m_pZep->endCall(id), 0);
    EXPECT_NE(waitState(id, "Idle"), nullptr);
    EXPECT_TRUE(peerCallState(*bob, "Released"));

    // Ringing again: divert with no target declines it, 603 at the caller.
    const size_t from = mark();
    const size_t peerFrom = bob->eventCount();
    ASSERT_TRUE(bob->command("call sip:alice@" + m_sip.domain()));
    ASSERT_TRUE(pumpUntil([&] { return mark() > from && m_spCalls->changes.back().state() == "RingIn"; }));
    const int again = m_spCalls->changes.back().callId;
    EXPECT_GT(again, id);
    EXPECT_EQ(m_pZep->iDivert(again), 0);
    EXPECT_TRUE(peerCallState(*bob, "End 603", peerFrom)) << ::testing::PrintToString(bob->events());
    EXPECT_NE(waitState(again, "Idle", from), nullptr);
}

TEST_F(FrameworkCalls, IncomingCallDivertedToTheConfiguredTarget) {
    startSignedIn("sip:carol@sip.test");
    auto bob = remote("bob", 660, false);
    auto carol = remote("carol", 880, false);
    ASSERT_TRUE(bob->command("call sip:alice@" + m_sip.domain()));
    ASSERT_TRUE(pumpUntil([&] { return mark() > 0 && m_spCalls->changes.back().state() == "RingIn"; }));
    EXPECT_EQ(m_pZep->iDivert(m_spCalls->changes.back().callId), 0);
    // The redirect (302) reaches bob; his engine follows it to carol.
    EXPECT_TRUE(peerCallState(*carol, "IncomingReceived")) << ::testing::PrintToString(bob->events());
}

TEST_F(FrameworkCalls, HoldResumeMuteAndDigitsReachTheRemote) {
    startSignedIn();
    auto bob = remote("bob", 660, true);
    const int id = connectTo(*bob, "bob");
    ASSERT_GT(id, 0);

    size_t from = mark();
    size_t peerFrom = bob->eventCount();
    EXPECT_EQ(m_pZep->resume(id), kInvalidState);
    ASSERT_EQ(m_pZep->hold(id), 0);
    const Change* held = waitState(id, "Hold", from);
    ASSERT_NE(held, nullptr);
    EXPECT_EQ(held->event, "evHeld");
    EXPECT_TRUE(has(held, "canResume"));
    EXPECT_FALSE(has(held, "canHold"));
    EXPECT_TRUE(peerCallState(*bob, "PausedByRemote", peerFrom));
    EXPECT_EQ(m_pZep->sendDTMF(id, "1"), kInvalidState) << "no digits while held";
    peerFrom = bob->eventCount();
    ASSERT_EQ(m_pZep->resume(id), 0);
    const Change* resumed = waitState(id, "Connected", from);
    ASSERT_NE(resumed, nullptr);
    EXPECT_EQ(resumed->event, "evResumed");
    EXPECT_TRUE(peerCallState(*bob, "StreamsRunning", peerFrom));

    // The far end holds us.
    from = mark();
    peerFrom = bob->eventCount();
    ASSERT_TRUE(bob->command("hold"));
    const Change* remHeld = waitState(id, "RemHold", from);
    ASSERT_NE(remHeld, nullptr);
    EXPECT_EQ(remHeld->event, "evRemoteHeld");
    EXPECT_TRUE(has(remHeld, "canHold"));
    ASSERT_TRUE(peerCallState(*bob, "Paused", peerFrom));
    ASSERT_TRUE(bob->command("resume"));
    const Change* back = waitState(id, "Connected", from);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->event, "evRemoteResumed");

    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard) << "bob hears our tone";
    from = mark();
    ASSERT_EQ(m_pZep->mute(id, true, false), 0);
    EXPECT_LT(levelUntil(*bob, [](double v) { return v < kSilent; }), kSilent) << "muted: silence";
    ASSERT_TRUE(pumpUntil([&] { return mark() > from; }));
    EXPECT_EQ(m_spCalls->changes.back().event, "evMediaChanged");
    EXPECT_TRUE(m_spCalls->changes.back().call->isAudioMuted());
    EXPECT_TRUE(has(&m_spCalls->changes.back(), "canUnmuteAudio"));
    ASSERT_EQ(m_pZep->unmute(id, true, false), 0);
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard) << "unmuted: the tone again";
    // Muted while held: still silent once resumed.
    from = mark();
    ASSERT_EQ(m_pZep->hold(id), 0);
    ASSERT_NE(waitState(id, "Hold", from), nullptr);
    ASSERT_EQ(m_pZep->mute(id, true, false), 0);
    ASSERT_EQ(m_pZep->resume(id), 0);
    ASSERT_NE(waitState(id, "Connected", from), nullptr);
    EXPECT_LT(levelUntil(*bob, [](double v) { return v < kSilent; }), kSilent) << "muted while held";
    ASSERT_EQ(m_pZep->unmute(id, true, false), 0);
    EXPECT_GT(levelUntil(*bob, [](double v) { return v > kHeard; }), kHeard);

    for (const char* bad : {"", "12", "E", "+", " "}) EXPECT_EQ(m_pZep->sendDTMF(id, bad), kInvalidArgument) << bad;
    for (const char* digit : {"1", "#", "9", "*", "d", "0"}) EXPECT_EQ(m_pZep->sendDTMF(id, digit), 0);
    EXPECT_TRUE(pumpUntil([&] { return bob->receivedDtmf().size() >= 6; }, 10s));
    EXPECT_EQ(bob->receivedDtmf(), "1#9*D0");

    EXPECT_EQ(m_pZep->setVideoDirection(id, "Upward"), kInvalidArgument);
    EXPECT_EQ(m_pZep->setVideoDirection(id, "RecvOnly"), 0);
    auto info = std::make_shared<ZepCallInfo>();
    ASSERT_EQ(m_pZep->getCallInfo(id, info), 0);
    EXPECT_EQ(info->getVideoDirection(), "RecvOnly");

    // Stopping the framework ends the call, and says so before it returns
    // and before it says it stopped.
    auto stops = std::make_shared<StopWatcher>(*m_spCalls);
    m_pZep->registerObserver(stops);
    from = mark();
    m_pZep->stop();
    EXPECT_NE(change(id, "Idle", from), nullptr);
    EXPECT_EQ(stops->changesAtStop, m_spCalls->changes.size());
    EXPECT_TRUE(peerCallState(*bob, "Released")) << bob->logText();
}

TEST_F(FrameworkCalls, AttendedTransferCompletesOrCancels) {
    startSignedIn();
    auto bob = remote("bob", 660, true);
    auto carol = remote("carol", 880, true);

    // Cancelled: back to bob.
    const int toBob = connectTo(*bob, "bob");
    EXPECT_EQ(m_pZep->completeTransferCall(toBob), kInvalidState) << "no transfer under way";
    size_t from = mark();
    ASSERT_EQ(m_pZep->transferCall(toBob, "carol"), 0);
    EXPECT_EQ(m_pZep->transferCall(toBob, "carol"), kInvalidState);
    ASSERT_NE(waitState(toBob, "Hold", from), nullptr);
    std::vector<int> ids = calls();
    ASSERT_EQ(ids.size(), 2u);
    const int consultation = ids[1];
    const Change* up = waitState(consultation, "Connected", from);
    ASSERT_NE(up, nullptr);
    EXPECT_TRUE(has(up, "canCompleteTransfer") && has(up, "canCancelTransfer"));
    EXPECT_EQ(std::count(m_spCalls->transfers.begin(), m_spCalls->transfers.end(), toBob) > 0, true);
    ASSERT_EQ(m_pZep->cancelTransfer(toBob), 0);
    EXPECT_NE(waitState(consultation, "Idle", from), nullptr);
    const Change* back = waitState(toBob, "Connected", from);
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(has(back, "canTransfer"));
    EXPECT_FALSE(has(back, "canCancelTransfer"));
    EXPECT_TRUE(pumpUntil([&] { return calls() == std::vector<int>{toBob}; }));

    // Completed: bob and carol talk, we are out.
    from = mark();
    const size_t bobFrom = bob->eventCount();
    const size_t carolFrom = carol->eventCount();
    ASSERT_EQ(m_pZep->transferCall(toBob, "sip:carol@" + m_sip.domain()), 0);
    ids = calls();
    ASSERT_EQ(ids.size(), 2u);
    ASSERT_NE(waitState(ids[1], "Connected", from), nullptr);
    EXPECT_TRUE(peerCallState(*carol, "StreamsRunning", carolFrom));
    const size_t transfersBefore = m_spCalls->transfers.size();
    ASSERT_EQ(m_pZep->completeTransferCall(ids[1]), 0);
    EXPECT_NE(waitState(toBob, "Idle", from), nullptr);
    EXPECT_NE(waitState(ids[1], "Idle", from), nullptr);
    EXPECT_GT(m_spCalls->transfers.size(), transfersBefore);
    // Bob's new call to carol runs with media.
    std::string line;
    EXPECT_TRUE(pumpUntil([&] {
        bob->poll();
        for (size_t i = bobFrom; i < bob->events().size(); ++i) {
            const std::string& e = bob->events()[i];
            if (e.find("StreamsRunning") != std::string::npos && e.find("carol") != std::string::npos) return true;
        }
        return false;
    })) << ::testing::PrintToString(bob->events());
    EXPECT_TRUE(pumpUntil([&] { return calls().empty(); }));
}

TEST_F(FrameworkCalls, JoinedCallsHearEachOther) {
    startSignedIn();
    auto bob = remote("bob", 660, true);
    auto carol = remote("carol", 880, true);
    const int toBob = connectTo(*bob, "bob");
    const int toCarol = connectTo(*carol, "carol");
    EXPECT_EQ(m_pZep->joinCalls(toBob, toBob), kInvalidArgument);
    EXPECT_EQ(m_pZep->joinCalls(toBob, 999), kInvalidCallId);
    const size_t from = mark();
    ASSERT_EQ(m_pZep->joinCalls(toBob, toCarol), 0);
    const Change* joined = nullptr;
    ASSERT_TRUE(pumpUntil([&] {
        for (size_t i = from; i < m_spCalls->changes.size(); ++i) {
            const Change& c = m_spCalls->changes[i];
            if (c.callId == toBob && c.call->isConference() && c.state() == "Connected") joined = &c;
        }
        return joined != nullptr;
    }));
    EXPECT_EQ(joined->call->getOtherParticipants().size(), 2u);
    // Let each recording take a few seconds of the other's tone.
    pumpUntil([] { return false; }, 4s);
    EXPECT_EQ(m_pZep->endCall(toBob), 0);
    EXPECT_EQ(m_pZep->endCall(toCarol), 0);
    ASSERT_TRUE(peerCallState(*bob, "Released"));
    ASSERT_TRUE(peerCallState(*carol, "Released"));
    EXPECT_GT(tessel::test::toneShare(bob->recordFile(), 880, 60), 0.2) << "bob hears carol";
    EXPECT_GT(tessel::test::toneShare(carol->recordFile(), 660, 60), 0.2) << "carol hears bob";
}

}  // namespace
