// The SIP test bed itself: a real Kamailio registrar on loopback and real
// liblinphone peers. Sign-in and call tests of the product stand on these, so
// here they prove that digest sign-in, calls, media, DTMF, hold and transfer
// really go through.

#include "HostProcess.h"
#include "KamailioFixture.h"
#include "SipPeer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>

using namespace std::chrono_literals;
using tessel::test::KamailioFixture;
using tessel::test::SipPeer;

namespace {

SipPeer::Options peerOptions(const std::string& name, double hz, bool autoAnswer = false) {
    SipPeer::Options o;
    o.name = name;
    o.toneHz = hz;
    o.autoAnswer = autoAnswer;
    return o;
}

std::string fileText(const std::string& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class SipTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sip.start()) << sip.error(); }

    // A started peer, or a failed assertion naming why.
    std::unique_ptr<SipPeer> startPeer(const std::string& name, double hz, bool autoAnswer = false) {
        auto peer = std::make_unique<SipPeer>(peerOptions(name, hz, autoAnswer));
        EXPECT_TRUE(peer->start()) << peer->error();
        return peer;
    }

    // Everything the peers and the registrar logged, for a failing test.
    std::string logs(std::initializer_list<SipPeer*> peers) const {
        std::string text = "--- kamailio\n" + sip.logText();
        for (SipPeer* p : peers) {
            text += "--- " + p->name() + "\n" + p->logText();
        }
        return text;
    }

    KamailioFixture sip;
};

// ---------------------------------------------------------------- sign-in

using Registrar = SipTest;

TEST_F(Registrar, UsersSignInWithTheirPasswordOverUdpAndTcp) {
    auto peer = startPeer("alice", 440);
    ASSERT_TRUE(peer->registerAs(sip, "alice", "udp")) << peer->error() << logs({peer.get()});
    ASSERT_TRUE(peer->registerAs(sip, "alice", "tcp")) << peer->error() << logs({peer.get()});
    for (const auto& user : {"bob", "carol"}) {
        EXPECT_TRUE(peer->registerAs(sip, user, "udp")) << user << ": " << peer->error();
    }
    // Given the realm up front, the engine saves only the digest hash.
    peer->stop();
    const std::string saved = fileText(peer->folder() + "/peerrc");
    EXPECT_NE(std::string::npos, saved.find("ha1=")) << saved;
    EXPECT_EQ(std::string::npos, saved.find("secret")) << saved;
    EXPECT_EQ(std::string::npos, saved.find("\npasswd=")) << saved;
}

TEST_F(Registrar, WrongPasswordsAndUnknownUsersAreRefused) {
    auto peer = startPeer("alice", 440);
    struct Case {
        const char* user;
        const char* password;
    };
    // "0" is what a missing table entry would read as if it were not tested.
    const Case cases[] = {{"alice", "wrong"}, {"alice", "0"}, {"alice", "bob-secret"}, {"mallory", "0"},
                          {"mallory", "alice-secret"}};
    for (const Case& c : cases) {
        const size_t mark = peer->eventCount();
        EXPECT_FALSE(peer->registerAs(sip, c.user, "udp", c.password)) << c.user << "/" << c.password;
        EXPECT_TRUE(peer->waitEvent("registration Failed 403", 1s, mark))
            << c.user << "/" << c.password << ": " << peer->error();
    }
    // And the right password still works afterwards.
    EXPECT_TRUE(peer->registerAs(sip, "alice", "udp")) << peer->error();
}

TEST_F(Registrar, StoppedRegistrarFailsFastOverTcpAndServesAgainAfterRestart) {
    auto peer = startPeer("alice", 440);
    ASSERT_TRUE(peer->registerAs(sip, "alice", "tcp")) << peer->error();
    const int port = sip.port();

    sip.stop();
    EXPECT_FALSE(sip.running());
    // The engine notices the closed connection at once, where UDP would
    // wait out a 32 s transaction timeout.
    const size_t mark = peer->eventCount();
    ASSERT_TRUE(peer->command("refresh"));
    EXPECT_TRUE(peer->waitEvent("registration Failed", 5s, mark)) << logs({peer.get()});
    // A fresh sign-in is refused just as fast.
    EXPECT_FALSE(peer->registerAs(sip, "alice", "tcp", "", 5s));

    ASSERT_TRUE(sip.restart()) << sip.error();
    EXPECT_EQ(port, sip.port());
    EXPECT_TRUE(peer->registerAs(sip, "alice", "tcp")) << peer->error() << logs({peer.get()});
}

TEST_F(Registrar, RestartReportsATakenPortInsteadOfHanging) {
    sip.stop();
    // Someone else takes the UDP port while the registrar is down.
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<uint16_t>(sip.port()));
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
    const auto began = std::chrono::steady_clock::now();
    EXPECT_FALSE(sip.restart(5s));
    EXPECT_LT(std::chrono::steady_clock::now() - began, 8s);
    EXPECT_FALSE(sip.running());
    EXPECT_NE(std::string::npos, sip.error().find("kamailio")) << sip.error();
    close(fd);
    // Once the port is free again it comes back.
    EXPECT_TRUE(sip.restart()) << sip.error();
}

// ---------------------------------------------------------------- calls

class Calls : public SipTest {
protected:
    void SetUp() override {
        SipTest::SetUp();
        alice = startPeer("alice", 440);
        bob = startPeer("bob", 660);
        // Different transports, so the proxy relays between UDP and TCP.
        ASSERT_TRUE(alice->registerAs(sip, "alice", "udp")) << alice->error();
        ASSERT_TRUE(bob->registerAs(sip, "bob", "tcp")) << bob->error();
    }

    // alice calls bob and bob answers; returns the call ids on each side.
    void connect(int& aliceCall, int& bobCall) {
        std::string reply;
        const size_t mark = bob->eventCount();
        ASSERT_TRUE(alice->command("call " + sip.userUri("bob"), &reply)) << reply;
        aliceCall = alice->lastCallId();
        bobCall = bob->waitIncomingCall(10s, mark);
        ASSERT_NE(0, bobCall) << logs({alice.get(), bob.get()});
        ASSERT_TRUE(alice->waitCallState(aliceCall, "OutgoingRinging", 10s));
        ASSERT_TRUE(bob->command("answer", &reply)) << reply;
        ASSERT_TRUE(alice->waitCallState(aliceCall, "StreamsRunning", 10s)) << logs({alice.get(), bob.get()});
        ASSERT_TRUE(bob->waitCallState(bobCall, "StreamsRunning", 10s)) << logs({alice.get(), bob.get()});
    }

    std::unique_ptr<SipPeer> alice;
    std::unique_ptr<SipPeer> bob;
};

TEST_F(Calls, AnsweredCallCarriesAudioBothWaysDtmfHoldAndHangup) {
    int a = 0;
    int b = 0;
    ASSERT_NO_FATAL_FAILURE(connect(a, b));
    std::string line;
    ASSERT_TRUE(bob->waitEvent("call " + std::to_string(b) + " IncomingReceived", 0s, 0, &line));
    EXPECT_NE(std::string::npos, line.find(sip.userUri("alice"))) << line;

    std::this_thread::sleep_for(2s);
    SipPeer::Stats as;
    SipPeer::Stats bs;
    ASSERT_TRUE(alice->stats(as)) << alice->error();
    ASSERT_TRUE(bob->stats(bs)) << bob->error();
    EXPECT_GT(as.received, 20u);
    EXPECT_GT(bs.received, 20u);
    EXPECT_GT(as.sent, 20u);
    // Each hears the other's tone, far above silence.
    EXPECT_GT(as.volumeDbm0, -40.0);
    EXPECT_GT(bs.volumeDbm0, -40.0);
    EXPECT_EQ(as.codec, bs.codec);

    // Digits arrive complete and in order.
    size_t mark = bob->eventCount();
    ASSERT_TRUE(alice->command("dtmf 159#*0"));
    ASSERT_TRUE(bob->waitEvent("dtmf " + std::to_string(b) + " 0", 10s, mark));
    EXPECT_EQ("159#*0", bob->receivedDtmf());
    EXPECT_EQ("", alice->receivedDtmf());

    // Hold and resume are re-INVITEs inside the dialog, through the proxy.
    mark = bob->eventCount();
    size_t aliceMark = alice->eventCount();
    ASSERT_TRUE(alice->command("hold"));
    EXPECT_TRUE(alice->waitCallState(a, "Paused", 10s, aliceMark));
    EXPECT_TRUE(bob->waitCallState(b, "PausedByRemote", 10s, mark));
    mark = bob->eventCount();
    aliceMark = alice->eventCount();
    ASSERT_TRUE(alice->command("resume"));
    EXPECT_TRUE(alice->waitCallState(a, "StreamsRunning", 10s, aliceMark));
    EXPECT_TRUE(bob->waitCallState(b, "StreamsRunning", 10s, mark));

    ASSERT_TRUE(bob->command("hangup"));
    EXPECT_TRUE(alice->waitCallState(a, "End", 10s)) << logs({alice.get(), bob.get()});
    EXPECT_TRUE(alice->waitCallState(a, "Released", 10s));
    EXPECT_TRUE(bob->waitCallState(b, "Released", 10s));
    std::string reply;
    EXPECT_FALSE(alice->command("hangup", &reply));
    EXPECT_EQ("error no call", reply);

    // The recordings hold the other side's tone, not our own.
    EXPECT_GT(tessel::test::toneShare(bob->recordFile(), 440), 0.5);
    EXPECT_LT(tessel::test::toneShare(bob->recordFile(), 660), 0.1);
    EXPECT_GT(tessel::test::toneShare(alice->recordFile(), 660), 0.5);
    EXPECT_LT(tessel::test::toneShare(alice->recordFile(), 440), 0.1);
}

TEST_F(Calls, UnansweredCallsEndCleanly) {
    // The caller gives up while it rings: the CANCEL reaches the callee.
    ASSERT_TRUE(alice->command("call " + sip.userUri("bob")));
    const int a = alice->lastCallId();
    const int b = bob->waitIncomingCall(10s);
    ASSERT_NE(0, b);
    ASSERT_TRUE(alice->waitCallState(a, "OutgoingRinging", 10s));
    ASSERT_TRUE(alice->command("hangup"));
    EXPECT_TRUE(bob->waitCallState(b, "End", 10s)) << logs({alice.get(), bob.get()});
    EXPECT_TRUE(alice->waitCallState(a, "Released", 10s));

    // The callee declines: the caller learns it is busy.
    size_t mark = bob->eventCount();
    ASSERT_TRUE(alice->command("call " + sip.userUri("bob")));
    const int a2 = alice->lastCallId();
    ASSERT_NE(0, bob->waitIncomingCall(10s, mark));
    std::string line;
    ASSERT_TRUE(bob->command("decline", &line)) << line;
    EXPECT_TRUE(alice->waitEvent("call " + std::to_string(a2) + " Error 486", 10s, 0, &line))
        << logs({alice.get(), bob.get()});

    // Nobody is signed in as carol.
    ASSERT_TRUE(alice->command("call " + sip.userUri("carol")));
    const int a3 = alice->lastCallId();
    EXPECT_TRUE(alice->waitEvent("call " + std::to_string(a3) + " Error 404", 10s))
        << logs({alice.get(), bob.get()});
}

TEST_F(Calls, TransfersReachTheThirdParty) {
    auto carol = startPeer("carol", 880, true);
    ASSERT_TRUE(carol->registerAs(sip, "carol", "udp")) << carol->error();

    // Blind: bob sends alice on to carol. (Peers number their calls in order.)
    int a = 0;
    int b = 0;
    ASSERT_NO_FATAL_FAILURE(connect(a, b));
    ASSERT_TRUE(bob->command("transfer " + sip.userUri("carol")));
    EXPECT_TRUE(bob->waitEvent("transfer " + std::to_string(b) + " Connected", 10s))
        << logs({alice.get(), bob.get(), carol.get()});
    std::string line;
    ASSERT_TRUE(carol->waitEvent("call 1 StreamsRunning", 10s, 0, &line))
        << logs({alice.get(), bob.get(), carol.get()});
    EXPECT_NE(std::string::npos, line.find(sip.userUri("alice"))) << line;
    EXPECT_TRUE(bob->waitCallState(b, "Released", 10s));
    ASSERT_TRUE(carol->command("hangup"));
    ASSERT_TRUE(alice->waitEvent("call " + std::to_string(a + 1) + " Released", 10s));

    // Attended: alice puts bob on hold, calls carol, then joins bob and carol.
    ASSERT_NO_FATAL_FAILURE(connect(a, b));
    ASSERT_TRUE(alice->command("hold " + std::to_string(a)));
    ASSERT_TRUE(alice->waitCallState(a, "Paused", 10s));
    std::string reply;
    ASSERT_TRUE(alice->command("call " + sip.userUri("carol"), &reply)) << reply;
    const int toCarol = alice->lastCallId();
    ASSERT_TRUE(alice->waitCallState(toCarol, "StreamsRunning", 10s));
    const size_t carolMark = carol->eventCount();
    ASSERT_TRUE(alice->command("transfer-attended " + std::to_string(a) + " " + std::to_string(toCarol), &reply))
        << reply;
    // bob calls carol anew, replacing her call with alice.
    const int bobToCarol = b + 1;
    EXPECT_TRUE(bob->waitCallState(bobToCarol, "StreamsRunning", 10s)) << logs({alice.get(), bob.get(), carol.get()});
    const int carolFromBob = carol->waitIncomingCall(10s, carolMark);
    ASSERT_NE(0, carolFromBob);
    EXPECT_TRUE(carol->waitCallState(carolFromBob, "StreamsRunning", 10s));
    EXPECT_TRUE(alice->waitCallState(a, "Released", 10s));
    EXPECT_TRUE(alice->waitCallState(toCarol, "Released", 10s));
    EXPECT_TRUE(bob->waitCallState(b, "Released", 10s));
}

// ---------------------------------------------------------------- the peer itself

TEST(SipPeerProtocol, MalformedCommandsGetAnErrorAndThePeerCarriesOn) {
    SipPeer peer(peerOptions("lonely", 440));
    ASSERT_TRUE(peer.start()) << peer.error();
    EXPECT_GT(peer.udpPort(), 0);
    EXPECT_GT(peer.tcpPort(), 0);
    const struct {
        const char* line;
        const char* reply;
    } cases[] = {
        {"fly", "error unknown command fly"},
        {"call", "error usage: call <sip-uri>"},
        {"register alice pw sip.test 127.0.0.1:5060 sctp",
         "error usage: register <user> <password> <domain> <host:port> <udp|tcp>"},
        {"dtmf 12x", "error usage: dtmf <digits> [call]"},
        {"answer", "error no call"},
        {"hangup 7", "error no call 7"},
        {"hold one", "error bad call id"},
        {"refresh", "error not registered"},
        {"stats", "error no call"},
    };
    for (const auto& c : cases) {
        std::string reply;
        EXPECT_FALSE(peer.command(c.line, &reply)) << c.line;
        EXPECT_EQ(c.reply, reply) << c.line;
    }
    EXPECT_EQ("", peer.receivedDtmf());
    EXPECT_EQ(0, peer.lastCallId());

    // Once it is gone, commands fail at once instead of waiting.
    std::string reply;
    ASSERT_TRUE(peer.command("quit", &reply)) << reply;
    const auto began = std::chrono::steady_clock::now();
    EXPECT_FALSE(peer.command("stats", &reply, 5s));
    EXPECT_LT(std::chrono::steady_clock::now() - began, 2s);
    EXPECT_NE(std::string::npos, peer.error().find("exited")) << peer.error();
}

// ---------------------------------------------------------------- audio tools

TEST(ToneAnalysis, FindsTheToneItWroteAndNothingElse) {
    pelatest::TempDir dir;
    const std::string path = dir.path() + "/tone.wav";
    ASSERT_TRUE(tessel::test::writeToneWav(path, 440, 1.0));
    EXPECT_NEAR(1.0, tessel::test::toneShare(path, 440, 1.0), 0.05);
    EXPECT_LT(tessel::test::toneShare(path, 660, 1.0), 0.01);
    EXPECT_LT(tessel::test::toneShare(path, 880, 1.0), 0.01);
    EXPECT_EQ(-1, tessel::test::toneShare(dir.path() + "/missing.wav", 440));
    std::ofstream(dir.path() + "/junk.wav") << "RIFF....WAVEjunk";
    EXPECT_EQ(-1, tessel::test::toneShare(dir.path() + "/junk.wav", 440));
}

}  // namespace
