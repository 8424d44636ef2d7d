// Calls through the host on a desktop with a sound server: the devices are
// listed with what they can do, a chosen speaker is used, the microphone is
// heard at the far end and the far end is played on the chosen speaker.

#include <chrono>
#include <map>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "KamailioFixture.h"
#include "PulseFixture.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::PulseFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;

namespace {

const std::string kSpeakers = "PulseAudio Unknown: Speakers";
const std::string kHeadset = "PulseAudio Unknown: Headset";
const std::string kMicrophone = "PulseAudio Unknown: Microphone";

TEST(HostSoundTest, DevicesAreListedChosenAndUsedBothWays) {
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

    // The desktop's devices, each with what it can do and the default ones selected.
    const auto listed = page.call("getMultimediaDevices", "{}");
    const auto& devices = listed.get_child("norvaChannelMessage.norvaSDKServerMessage.content.multimediadevices");
    std::map<std::string, ptree> byId;
    for (const auto& d : devices) byId[d.second.get<std::string>("deviceID")] = d.second;
    ASSERT_EQ(byId.count(kSpeakers), 1u) << SignedInHost::field(listed, "content");
    EXPECT_EQ(byId[kSpeakers].get<std::string>("canPlayout"), "true");
    EXPECT_EQ(byId[kSpeakers].get<std::string>("canRecord"), "false");
    EXPECT_EQ(byId[kSpeakers].get<std::string>("isSelectedPlayoutDevice"), "true");
    EXPECT_EQ(byId[kHeadset].get<std::string>("isSelectedPlayoutDevice"), "false");
    EXPECT_EQ(byId[kMicrophone].get<std::string>("canRecord"), "true");
    EXPECT_EQ(byId[kMicrophone].get<std::string>("isSelectedRecordingDevice"), "true");
    EXPECT_EQ(byId[kMicrophone].get<std::string>("clientRecordingID"), kMicrophone);
    // Unknown devices, and devices that cannot play the role, are refused.
    EXPECT_EQ(SignedInHost::field(page.call("setPlayoutDevice", "{\"clientPlayoutID\": \"PulseAudio Unknown: Nope\"}"),
                                  "error"),
              "eInvalidArgument");
    EXPECT_EQ(
        SignedInHost::field(page.call("setRecordingDevice", "{\"clientRecordingID\": \"" + kSpeakers + "\"}"), "error"),
        "eInvalidArgument");

    // The headset chosen for playing: the call's far end plays there.
    ASSERT_EQ(
        SignedInHost::field(page.call("setPlayoutDevice", "{\"clientPlayoutID\": \"" + kHeadset + "\"}"), "error"), "");
    const auto chosen = page.call("getMultimediaDevices", "{}");
    for (const auto& d : chosen.get_child("norvaChannelMessage.norvaSDKServerMessage.content.multimediadevices")) {
        EXPECT_EQ(d.second.get<std::string>("isSelectedPlayoutDevice") == "true",
                  d.second.get<std::string>("deviceID") == kHeadset)
            << d.second.get<std::string>("deviceID");
    }

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
    // Our streams run on the chosen headset and the default microphone.
    const std::string played = pulse.pactl("list sink-inputs");
    EXPECT_NE(played.find("Sink: 1"), std::string::npos) << played;
    EXPECT_NE(played.find("application.name = \"pelahost\""), std::string::npos) << played;
    const std::string recorded = pulse.pactl("list source-outputs");
    EXPECT_NE(recorded.find("application.name = \"pelahost\""), std::string::npos) << recorded;

    // What the far end sends is played: its tone is in what the headset gets.
    const std::string wav = page.host().home() + "/headset.wav";
    ASSERT_TRUE(pulse.record("headset.monitor", 3, wav));
    EXPECT_GT(tessel::test::toneShare(wav, 440.0, 1.0), 0.5) << "the far end's tone on the headset";

    // The speaker volume is the call's stream volume at the sound server, and pages hear of it.
    EXPECT_EQ(SignedInHost::field(page.call("setCurrentSpeakerVolume", "{\"volume\": 101}"), "error"),
              "eInvalidArgument");
    ASSERT_EQ(SignedInHost::field(page.call("setCurrentSpeakerVolume", "{\"volume\": 50}"), "error"), "");
    ptree changed;
    ASSERT_TRUE(page.waitForEvent("speakervolumechanged", 5s, &changed));
    EXPECT_EQ(SignedInHost::field(changed, "content.volume"), "50");
    std::string streams;
    for (int i = 0; i < 20; ++i) {
        streams = pulse.pactl("list sink-inputs");
        if (streams.find("/ 100%") == std::string::npos) break;
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_NE(streams.find("application.name = \"pelahost\""), std::string::npos) << streams;
    EXPECT_EQ(streams.find("/ 100%"), std::string::npos) << streams;
    EXPECT_EQ(
        SignedInHost::field(page.call("getMultimediaDeviceVolume", "{\"device\": \"speaker\"}"), "content.volume"),
        "50");

    ASSERT_EQ(SignedInHost::field(
                  page.call("endCall", "{\"callId\": " + SignedInHost::field(placed, "content.callId") + "}"), "error"),
              "");

    // The host started again on the same files keeps the choices.
    page.host().closeInput();
    ASSERT_EQ(page.host().waitExit(20s), 0);
    pelatest::HostProcess::Options again = host;
    again.home = page.host().home();
    SignedInHost restarted(sip, again);
    ASSERT_TRUE(restarted.start("udp")) << restarted.why();
    EXPECT_EQ(
        SignedInHost::field(restarted.call("getMultimediaDeviceVolume", "{\"device\": \"speaker\"}"), "content.volume"),
        "50");
    const auto kept = restarted.call("getMultimediaDevices", "{}");
    std::string selected;  // the devices chosen for playing
    for (const auto& d : kept.get_child("norvaChannelMessage.norvaSDKServerMessage.content.multimediadevices")) {
        if (d.second.get<std::string>("isSelectedPlayoutDevice") == "true") {
            selected += d.second.get<std::string>("deviceID") + ";";
        }
    }
    EXPECT_EQ(selected, kHeadset + ";");
}

}  // namespace
