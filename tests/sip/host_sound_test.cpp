// Calls through the host on a desktop with a sound server: the call runs on
// the desktop's default microphone and speakers, the microphone is heard at
// the far end and the far end is played on the speakers.

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "KamailioFixture.h"
#include "PulseFixture.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using namespace std::chrono_literals;
using tessel::test::KamailioFixture;
using tessel::test::PulseFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;

namespace {

TEST(HostSoundTest, CallsRunOnTheDefaultDevicesBothWays) {
    PulseFixture pulse;
    ASSERT_TRUE(pulse.start()) << pulse.error();
    KamailioFixture sip;
    ASSERT_TRUE(sip.start()) << sip.error();
    SipPeer::Options options;
    options.name = "bob";
    options.toneHz = 440.0;
    options.autoAnswer = true;
    SipPeer bob(options);
    ASSERT_TRUE(bob.start()) << bob.error();
    ASSERT_TRUE(bob.registerAs(sip, "bob", "udp")) << bob.logText();

    pelatest::HostProcess::Options host;
    host.extraEnv["PULSE_SERVER"] = pulse.server();
    SignedInHost page(sip, host);
    ASSERT_TRUE(page.start("udp")) << page.why();
    ASSERT_TRUE(page.signIn("alice")) << page.why();
    EXPECT_NE(page.host().logText().find("call audio: sound devices, recording from [PulseAudio"), std::string::npos)
        << page.host().logText();

    const auto placed = page.call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"Inactive\"}");
    ASSERT_EQ(SignedInHost::field(placed, "error"), "");
    const int atBob = bob.waitIncomingCall(10s);
    ASSERT_NE(atBob, 0) << bob.logText();
    ASSERT_TRUE(bob.waitCallState(atBob, "StreamsRunning", 10s)) << bob.logText();

    // The sine microphone reaches the far end.
    double level = -100;
    for (int i = 0; i < 40 && !(level > -40.0); ++i) {
        std::this_thread::sleep_for(150ms);
        level = bob.receivedVolume();
    }
    EXPECT_GT(level, -40.0) << "the far end hears the microphone";
    // Our streams run on the desktop's default speakers and microphone.
    const std::string played = pulse.pactl("list sink-inputs");
    EXPECT_NE(played.find("Sink: 0"), std::string::npos) << played;
    EXPECT_NE(played.find("application.name = \"pelahost\""), std::string::npos) << played;
    const std::string recorded = pulse.pactl("list source-outputs");
    EXPECT_NE(recorded.find("application.name = \"pelahost\""), std::string::npos) << recorded;

    // What the far end sends is played: its tone is in what the speakers get.
    const std::string wav = page.host().home() + "/speakers.wav";
    ASSERT_TRUE(pulse.record("speakers.monitor", 3, wav));
    EXPECT_GT(tessel::test::toneShare(wav, 440.0, 1.0), 0.5) << "the far end's tone on the speakers";

    ASSERT_EQ(SignedInHost::field(
                  page.call("endCall", "{\"callId\": " + SignedInHost::field(placed, "content.callId") + "}"), "error"),
              "");
}

}  // namespace
