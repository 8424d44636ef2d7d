// The SIP test bed itself: a real Kamailio registrar on loopback and real
// liblinphone peers. The product's SIP tests stand on these, so here they
// prove that digest sign-in, a registrar restart and a call with audio and
// DTMF really go through.

#include <chrono>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "KamailioFixture.h"
#include "SipPeer.h"

using namespace std::chrono_literals;
using tessel::test::KamailioFixture;
using tessel::test::SipPeer;

namespace {

class SipBed : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sip.start()) << sip.error(); }

    std::unique_ptr<SipPeer> startPeer(const std::string& name, double hz) {
        SipPeer::Options options;
        options.name = name;
        options.toneHz = hz;
        auto peer = std::make_unique<SipPeer>(options);
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

TEST_F(SipBed, RegistrarChecksPasswordsAndServesAgainAfterRestart) {
    auto peer = startPeer("alice", 440);
    ASSERT_TRUE(peer->registerAs(sip, "alice", "udp")) << peer->error() << logs({peer.get()});
    const size_t mark = peer->eventCount();
    EXPECT_FALSE(peer->registerAs(sip, "alice", "udp", "wrong"));
    EXPECT_TRUE(peer->waitEvent("registration Failed 403", 1s, mark)) << peer->error();
    ASSERT_TRUE(peer->registerAs(sip, "alice", "tcp")) << peer->error() << logs({peer.get()});

    const int port = sip.port();
    sip.stop();
    EXPECT_FALSE(sip.running());
    // Over TCP the closed connection is noticed at once.
    EXPECT_FALSE(peer->registerAs(sip, "alice", "tcp", "", 5s));
    ASSERT_TRUE(sip.restart()) << sip.error();
    EXPECT_EQ(port, sip.port());
    EXPECT_TRUE(peer->registerAs(sip, "alice", "tcp")) << peer->error() << logs({peer.get()});
}

TEST_F(SipBed, CallCarriesAudioBothWaysAndDtmf) {
    auto alice = startPeer("alice", 440);
    auto bob = startPeer("bob", 660);
    // Different transports, so the proxy relays between UDP and TCP.
    ASSERT_TRUE(alice->registerAs(sip, "alice", "udp")) << alice->error();
    ASSERT_TRUE(bob->registerAs(sip, "bob", "tcp")) << bob->error();

    std::string reply;
    ASSERT_TRUE(alice->command("call " + sip.userUri("bob"), &reply)) << reply;
    const int a = alice->lastCallId();
    const int b = bob->waitIncomingCall(10s);
    ASSERT_NE(0, b) << logs({alice.get(), bob.get()});
    ASSERT_TRUE(bob->command("answer", &reply)) << reply;
    ASSERT_TRUE(alice->waitCallState(a, "StreamsRunning", 10s)) << logs({alice.get(), bob.get()});
    ASSERT_TRUE(bob->waitCallState(b, "StreamsRunning", 10s)) << logs({alice.get(), bob.get()});

    std::this_thread::sleep_for(2s);
    SipPeer::Stats as;
    SipPeer::Stats bs;
    ASSERT_TRUE(alice->stats(as)) << alice->error();
    ASSERT_TRUE(bob->stats(bs)) << bob->error();
    EXPECT_GT(as.received, 20u);
    EXPECT_GT(bs.received, 20u);
    // Each hears the other's tone, far above silence.
    EXPECT_GT(as.volumeDbm0, -40.0);
    EXPECT_GT(bs.volumeDbm0, -40.0);

    // Digits arrive complete and in order.
    const size_t mark = bob->eventCount();
    ASSERT_TRUE(alice->command("dtmf 159#*0"));
    ASSERT_TRUE(bob->waitEvent("dtmf " + std::to_string(b) + " 0", 10s, mark));
    EXPECT_EQ("159#*0", bob->receivedDtmf());

    ASSERT_TRUE(bob->command("hangup"));
    EXPECT_TRUE(alice->waitCallState(a, "Released", 10s)) << logs({alice.get(), bob.get()});
    EXPECT_TRUE(bob->waitCallState(b, "Released", 10s));
    // The recordings hold the other side's tone, not our own.
    EXPECT_GT(tessel::test::toneShare(bob->recordFile(), 440), 0.5);
    EXPECT_LT(tessel::test::toneShare(bob->recordFile(), 660), 0.1);
    EXPECT_GT(tessel::test::toneShare(alice->recordFile(), 660), 0.5);
    EXPECT_LT(tessel::test::toneShare(alice->recordFile(), 440), 0.1);
}

}  // namespace
