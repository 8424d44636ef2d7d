// Video calls through the host: the direction a page asks for is negotiated
// and reported, the chosen camera is sent and the far end's video received.

#include <chrono>
#include <sstream>
#include <string>
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

const char* const kPattern = "Mire: Mire (synthetic moving picture)";

// What a peer's "video" command says: size, frames per second, direction.
struct Received {
    int width = 0;
    int height = 0;
    int fps = 0;
    std::string direction;
    std::string reply;  // the peer's whole answer
};

Received receivedBy(SipPeer& peer) {
    std::string reply;
    Received r;
    const bool ok = peer.command("video", &reply);
    r.reply = reply;
    if (!ok) return r;
    std::istringstream in(reply.substr(std::string("ok video ").size()));
    char x = 0;
    in >> r.width >> x >> r.height >> r.fps >> r.direction;
    return r;
}

// Waits until the peer receives moving pictures (at least 5 frames a second).
bool receivesVideo(SipPeer& peer, Received* last) {
    for (int i = 0; i < 50; ++i) {
        *last = receivedBy(peer);
        if (last->width > 0 && last->fps >= 5) return true;
        std::this_thread::sleep_for(200ms);
    }
    return false;
}

class HostVideoTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(sip.start()) << sip.error();
        SipPeer::Options peer;
        peer.name = "bob";
        peer.video = true;
        peer.autoAnswer = true;
        bob.reset(new SipPeer(peer));
        ASSERT_TRUE(bob->start()) << bob->error();
        ASSERT_TRUE(bob->registerAs(sip, "bob", "udp")) << bob->logText();
        page.reset(new SignedInHost(sip));
        // QVGA: software encoding on small machines keeps up at that size.
        page->setEngineConfig("[video]\nsize=qvga\n");
        ASSERT_TRUE(page->start("udp")) << page->why();
        ASSERT_TRUE(page->signIn("alice")) << page->why();
        ASSERT_EQ(
            SignedInHost::field(
                page->call("setCaptureDevice", std::string("{\"clientCaptureID\": \"") + kPattern + "\"}"), "error"),
            "");
    }

    KamailioFixture sip;
    std::unique_ptr<SipPeer> bob;
    std::unique_ptr<SignedInHost> page;
};

TEST_F(HostVideoTest, IncomingVideoCallIsReportedWithTheDirectionAnswered) {
    const size_t from = page->seen().size();
    ASSERT_TRUE(bob->command("call " + sip.userUri("alice") + " video"));
    ptree ringing;
    ASSERT_TRUE(page->waitForCallState("RingIn", from, &ringing));
    const std::string id = ringing.get<std::string>("callId");
    // Bob offers both ways; the page only wants to watch.
    ASSERT_EQ(SignedInHost::field(page->call("answer", "{\"callId\": " + id + ", \"videoDirection\": \"RecvOnly\"}"),
                                  "error"),
              "");
    ptree connected;
    ASSERT_TRUE(page->waitForCallState("Connected", from, &connected));
    EXPECT_EQ(connected.get<std::string>("videoDirection"), "RecvOnly") << "the event says what was answered";
    Received atBob;
    for (int i = 0; i < 50 && atBob.direction != "SendOnly"; ++i) {
        std::this_thread::sleep_for(100ms);
        atBob = receivedBy(*bob);
    }
    EXPECT_EQ(atBob.direction, "SendOnly");
}

TEST_F(HostVideoTest, VideoDirectionOfAnOutgoingCallAndItsChange) {
    const auto placed = page->call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"SendOnly\"}");
    ASSERT_EQ(SignedInHost::field(placed, "error"), "");
    const std::string id = SignedInHost::field(placed, "content.callId");
    ptree connected;
    ASSERT_TRUE(page->waitForCallState("Connected", 0, &connected));
    EXPECT_EQ(connected.get<std::string>("videoDirection"), "SendOnly");
    Received atBob;
    EXPECT_TRUE(receivesVideo(*bob, &atBob));
    EXPECT_EQ(atBob.direction, "RecvOnly") << "bob only receives";

    // Video off: the far end's video stream goes inactive.
    ASSERT_EQ(
        SignedInHost::field(
            page->call("setVideoDirection", "{\"callId\": " + id + ", \"videoDirection\": \"Inactive\"}"), "error"),
        "");
    // A reply may be missing while the re-offer is under way: ask again.
    for (int i = 0; i < 50 && atBob.direction != "Inactive" && atBob.direction != "off"; ++i) {
        std::this_thread::sleep_for(100ms);
        atBob = receivedBy(*bob);
    }
    EXPECT_TRUE(atBob.direction == "Inactive" || atBob.direction == "off") << atBob.reply << "\n" << bob->logText();
}

}  // namespace
