// Calls through the host on a desktop with a sound server: the devices are
// listed with what they can do, a chosen speaker is used, the microphone is
// heard at the far end and the far end is played on the chosen speaker; calls
// ring on the ringer; devices plugged in or out mid-call are followed. And on
// a machine with no sound server at all, calls still carry (silent) audio.

#include <chrono>
#include <map>
#include <sstream>
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

std::string devicesOf(const ptree& reply) {
    std::string out;
    for (const auto& d : reply.get_child("norvaChannelMessage.norvaSDKServerMessage.content.multimediadevices")) {
        out += d.second.get<std::string>("deviceID") + ";";
    }
    return out;
}

// The devices of the reply marked selected for a role ("Playout", "Recording", ...).
std::string selectedFor(const ptree& reply, const std::string& role) {
    std::string out;
    for (const auto& d : reply.get_child("norvaChannelMessage.norvaSDKServerMessage.content.multimediadevices")) {
        if (d.second.get<std::string>("isSelected" + role + "Device", "") == "true") {
            out += d.second.get<std::string>("deviceID") + ";";
        }
    }
    return out;
}

// Polls `pactl <args>` until pred holds of its output (at most 5 s); the last output.
template <class Pred>
std::string pactlUntil(const PulseFixture& pulse, const std::string& args, Pred pred) {
    std::string out;
    for (int i = 0; i < 50; ++i) {
        out = pulse.pactl(args);
        if (pred(out)) break;
        std::this_thread::sleep_for(100ms);
    }
    return out;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The next "multimediadevicechange" among the page's messages from `from` on.
bool waitDeviceChange(SignedInHost& page, size_t from) {
    return page.waitForEventFrom(
               "multimediadevicechange", from, [](const ptree&) { return true; }, nullptr, 5s) != SignedInHost::npos;
}

class HostSoundTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(pulse.start()) << pulse.error();
        ASSERT_TRUE(sip.start()) << sip.error();
    }
    // Bob, registered, sending a 440 Hz tone.
    void startBob(bool autoAnswer) {
        SipPeer::Options peer;
        peer.name = "bob";
        peer.toneHz = 440.0;
        peer.autoAnswer = autoAnswer;
        bob.reset(new SipPeer(peer));
        ASSERT_TRUE(bob->start()) << bob->error();
        ASSERT_TRUE(bob->registerAs(sip, "bob", "udp")) << bob->logText();
    }
    void startPage() {
        options.extraEnv["PULSE_SERVER"] = pulse.server();
        page.reset(new SignedInHost(sip, options));
        ASSERT_TRUE(page->start("udp")) << page->why();
        ASSERT_TRUE(page->signIn("alice")) << page->why();
    }
    std::string error(const std::string& name, const std::string& content) {
        return SignedInHost::field(page->call(name, content), "error");
    }
    // Waits until the far end hears more than -40 dBm0.
    bool bobHears() {
        double level = -100;
        for (int i = 0; i < 40 && !(level > -40.0); ++i) {
            std::this_thread::sleep_for(150ms);
            level = bob->receivedVolume();
        }
        return level > -40.0;
    }

    PulseFixture pulse;
    KamailioFixture sip;
    std::unique_ptr<SipPeer> bob;
    pelatest::HostProcess::Options options;
    std::unique_ptr<SignedInHost> page;
};

TEST_F(HostSoundTest, DevicesAreListedChosenAndUsedBothWays) {
    ASSERT_NO_FATAL_FAILURE(startBob(true));
    ASSERT_NO_FATAL_FAILURE(startPage());
    SignedInHost& phone = *page;
    EXPECT_NE(phone.host().logText().find("call audio: sound devices, recording from [PulseAudio"), std::string::npos)
        << phone.host().logText();

    // The desktop's devices, each with what it can do and the default ones selected.
    const auto listed = phone.call("getMultimediaDevices", "{}");
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
    // The sound server's devices only: not ALSA's way into it as well.
    EXPECT_EQ(devicesOf(listed).find("ALSA"), std::string::npos) << devicesOf(listed);
    // Unknown devices, and devices that cannot play the role, are refused.
    EXPECT_EQ(SignedInHost::field(phone.call("setPlayoutDevice", "{\"clientPlayoutID\": \"PulseAudio Unknown: Nope\"}"),
                                  "error"),
              "eInvalidArgument");
    EXPECT_EQ(SignedInHost::field(phone.call("setRecordingDevice", "{\"clientRecordingID\": \"" + kSpeakers + "\"}"),
                                  "error"),
              "eInvalidArgument");

    // The headset chosen for playing: the call's far end plays there.
    ASSERT_EQ(
        SignedInHost::field(phone.call("setPlayoutDevice", "{\"clientPlayoutID\": \"" + kHeadset + "\"}"), "error"),
        "");
    const auto chosen = phone.call("getMultimediaDevices", "{}");
    for (const auto& d : chosen.get_child("norvaChannelMessage.norvaSDKServerMessage.content.multimediadevices")) {
        EXPECT_EQ(d.second.get<std::string>("isSelectedPlayoutDevice") == "true",
                  d.second.get<std::string>("deviceID") == kHeadset)
            << d.second.get<std::string>("deviceID");
    }

    const auto placed = phone.call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"Inactive\"}");
    ASSERT_EQ(SignedInHost::field(placed, "error"), "");
    const int atBob = bob->waitIncomingCall(10s);
    ASSERT_NE(atBob, 0) << bob->logText();
    ASSERT_TRUE(bob->waitCallState(atBob, "StreamsRunning", 10s)) << bob->logText();

    // The sine microphone reaches the far end.
    EXPECT_TRUE(bobHears()) << "the far end hears the microphone";
    // Our streams run on the chosen headset and the default microphone.
    const std::string played = pulse.pactl("list sink-inputs");
    EXPECT_NE(played.find("Sink: 1"), std::string::npos) << played;
    EXPECT_NE(played.find("application.name = \"pelahost\""), std::string::npos) << played;
    const std::string recorded = pulse.pactl("list source-outputs");
    EXPECT_NE(recorded.find("application.name = \"pelahost\""), std::string::npos) << recorded;

    // What the far end sends is played: its tone is in what the headset gets.
    const std::string wav = phone.host().home() + "/headset.wav";
    ASSERT_TRUE(pulse.record("headset.monitor", 3, wav));
    // A slow build drops and conceals packets, which spreads some energy off
    // the tone; anything but the tone itself stays far below this share.
    EXPECT_GT(tessel::test::toneShare(wav, 440.0, 2.0), 0.3) << "the far end's tone on the headset";

    // The speakers chosen mid-call: the call moves there at once.
    ASSERT_EQ(error("setPlayoutDevice", "{\"clientPlayoutID\": \"" + kSpeakers + "\"}"), "");
    const std::string moved =
        pactlUntil(pulse, "list sink-inputs", [](const std::string& o) { return has(o, "Sink: 0"); });
    EXPECT_TRUE(has(moved, "Sink: 0") && !has(moved, "Sink: 1")) << moved;
    const std::string onSpeakers = phone.host().home() + "/speakers.wav";
    ASSERT_TRUE(pulse.record("speakers.monitor", 2, onSpeakers));
    EXPECT_GT(tessel::test::toneShare(onSpeakers, 440.0, 1.5), 0.3) << "the far end's tone on the speakers";
    ASSERT_EQ(error("setPlayoutDevice", "{\"clientPlayoutID\": \"" + kHeadset + "\"}"), "");
    const std::string back =
        pactlUntil(pulse, "list sink-inputs", [](const std::string& o) { return has(o, "Sink: 1"); });
    EXPECT_TRUE(has(back, "Sink: 1") && !has(back, "Sink: 0")) << back;

    // The speaker volume is the call's stream volume at the sound server, and pages hear of it.
    EXPECT_EQ(SignedInHost::field(phone.call("setCurrentSpeakerVolume", "{\"volume\": 101}"), "error"),
              "eInvalidArgument");
    ASSERT_EQ(SignedInHost::field(phone.call("setCurrentSpeakerVolume", "{\"volume\": 50}"), "error"), "");
    ptree changed;
    ASSERT_TRUE(phone.waitForEvent("speakervolumechanged", 5s, &changed));
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
        SignedInHost::field(phone.call("getMultimediaDeviceVolume", "{\"device\": \"speaker\"}"), "content.volume"),
        "50");

    ASSERT_EQ(
        SignedInHost::field(
            phone.call("endCall", "{\"callId\": " + SignedInHost::field(placed, "content.callId") + "}"), "error"),
        "");

    // The host started again on the same files keeps the choices.
    phone.host().closeInput();
    ASSERT_EQ(phone.host().waitExit(20s), 0);
    pelatest::HostProcess::Options again = options;
    again.home = phone.host().home();
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

TEST_F(HostSoundTest, CallsRingOnTheRingerAndRingBackOnTheSpeaker) {
    ASSERT_NO_FATAL_FAILURE(startBob(false));
    ASSERT_NO_FATAL_FAILURE(startPage());
    ASSERT_EQ(error("setRingerDevice", "{\"clientRingerID\": \"" + kHeadset + "\"}"), "");
    ASSERT_EQ(error("setCurrentRingerVolume", "{\"volume\": 50}"), "");
    EXPECT_EQ(error("setCurrentRingerVolume", "{\"volume\": -1}"), "eInvalidArgument");

    // Bob calls: it rings on the headset, at half the amplitude (-6 dB).
    size_t from = page->seen().size();
    ASSERT_TRUE(bob->command("call " + sip.userUri("alice")));
    ptree ringingCall;
    ASSERT_TRUE(page->waitForCallState("RingIn", from, &ringingCall));
    const std::string callId = ringingCall.get<std::string>("callId");
    const auto ringing = [](const std::string& o) { return has(o, "media.name = \"ring\""); };
    std::string streams = pactlUntil(pulse, "list sink-inputs", ringing);
    ASSERT_TRUE(ringing(streams)) << streams << page->host().logText();
    EXPECT_TRUE(has(streams, "Sink: 1")) << streams;
    EXPECT_TRUE(has(streams, "-6.02 dB")) << streams;
    const std::string wav = page->host().home() + "/ring.wav";
    ASSERT_TRUE(pulse.record("headset.monitor", 3, wav));
    EXPECT_GT(tessel::test::toneShare(wav, 660.0, 2.0), 0.15) << "the ring is heard on the headset";

    // Louder while ringing: the ring's own stream follows.
    ASSERT_EQ(error("setCurrentRingerVolume", "{\"volume\": 100}"), "");
    streams = pactlUntil(pulse, "list sink-inputs", [](const std::string& o) { return has(o, "0.00 dB"); });
    EXPECT_TRUE(has(streams, "0.00 dB")) << streams;

    // Answered: the ring stops.
    ASSERT_EQ(error("answer", "{\"callId\": " + callId + ", \"videoDirection\": \"Inactive\"}"), "");
    streams = pactlUntil(pulse, "list sink-inputs", [&](const std::string& o) { return !ringing(o); });
    EXPECT_FALSE(ringing(streams)) << streams;
    ASSERT_EQ(error("endCall", "{\"callId\": " + callId + "}"), "");

    // A call that rings at bob's: ring-back on the speakers until bob answers.
    from = page->seen().size();
    ASSERT_EQ(SignedInHost::field(page->call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"Inactive\"}"),
                                  "error"),
              "");
    const int atBob = bob->waitIncomingCall(10s, bob->eventCount());
    ASSERT_NE(atBob, 0) << bob->logText();
    const auto ringback = [](const std::string& o) { return has(o, "media.name = \"ringback\""); };
    streams = pactlUntil(pulse, "list sink-inputs", ringback);
    EXPECT_TRUE(ringback(streams) && has(streams, "Sink: 0")) << streams;
    ASSERT_TRUE(bob->command("answer " + std::to_string(atBob)));
    ASSERT_TRUE(page->waitForCallState("Connected", from));
    streams = pactlUntil(pulse, "list sink-inputs", [&](const std::string& o) { return !ringback(o); });
    EXPECT_FALSE(ringback(streams)) << streams;

    // The caller giving up stops the ring too.
    ASSERT_TRUE(bob->command("hangup " + std::to_string(atBob)));
    ASSERT_TRUE(page->waitForCallState("Idle", from));
    from = page->seen().size();
    const size_t bobFrom = bob->eventCount();
    ASSERT_TRUE(bob->command("call " + sip.userUri("alice")));
    ASSERT_TRUE(page->waitForCallState("RingIn", from));
    ASSERT_TRUE(ringing(pactlUntil(pulse, "list sink-inputs", ringing)));
    ASSERT_TRUE(bob->command("hangup"));
    ASSERT_TRUE(bob->waitEvent("call", 5s, bobFrom));
    streams = pactlUntil(pulse, "list sink-inputs", [&](const std::string& o) { return !ringing(o); });
    EXPECT_FALSE(ringing(streams)) << streams;
}

TEST_F(HostSoundTest, DevicesPluggedInAndOutMidCallAreFollowed) {
    ASSERT_NO_FATAL_FAILURE(startBob(true));
    ASSERT_NO_FATAL_FAILURE(startPage());
    const std::string kDesk = "PulseAudio Unknown: Desk";

    // A second microphone plugged in: pages hear of it and it is listed.
    size_t from = page->seen().size();
    const std::string module = pulse.pactl(
        "load-module module-sine-source source_name=desk frequency=1500 "
        "source_properties=device.description=Desk");
    ASSERT_FALSE(module.empty());
    ASSERT_TRUE(waitDeviceChange(*page, from));
    EXPECT_TRUE(has(devicesOf(page->call("getMultimediaDevices", "{}")), kDesk + ";"));

    // Chosen during a call: the call records from it at once.
    ASSERT_EQ(SignedInHost::field(page->call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"Inactive\"}"),
                                  "error"),
              "");
    const int atBob = bob->waitIncomingCall(10s);
    ASSERT_TRUE(bob->waitCallState(atBob, "StreamsRunning", 10s)) << bob->logText();
    ASSERT_EQ(error("setRecordingDevice", "{\"clientRecordingID\": \"" + kDesk + "\"}"), "");
    // The desk microphone's index at the sound server.
    const std::string sources = pulse.pactl("list sources short");
    std::string deskIndex;
    std::istringstream lines(sources);
    for (std::string line; std::getline(lines, line);) {
        if (has(line, "\tdesk\t")) deskIndex = line.substr(0, line.find('\t'));
    }
    ASSERT_FALSE(deskIndex.empty()) << sources;
    const std::string recorded = pactlUntil(
        pulse, "list source-outputs", [&](const std::string& o) { return has(o, "Source: " + deskIndex + "\n"); });
    EXPECT_TRUE(has(recorded, "Source: " + deskIndex + "\n")) << recorded;
    EXPECT_TRUE(bobHears());

    // Unplugged: the list says so, the default microphone is selected again,
    // and the far end still hears us.
    from = page->seen().size();
    ASSERT_EQ(pulse.pactl("unload-module " + module.substr(0, module.find('\n'))), "");
    ASSERT_TRUE(waitDeviceChange(*page, from));
    const auto after = page->call("getMultimediaDevices", "{}");
    EXPECT_FALSE(has(devicesOf(after), kDesk)) << devicesOf(after);
    EXPECT_EQ(selectedFor(after, "Recording"), kMicrophone + ";");
    EXPECT_TRUE(bobHears()) << "the call goes on with the default microphone";

    // Plugged in again: the user's choice takes over again.
    from = page->seen().size();
    ASSERT_FALSE(pulse
                     .pactl("load-module module-sine-source source_name=desk frequency=1500 "
                            "source_properties=device.description=Desk")
                     .empty());
    ASSERT_TRUE(waitDeviceChange(*page, from));
    EXPECT_EQ(selectedFor(page->call("getMultimediaDevices", "{}"), "Recording"), kDesk + ";");
}

TEST_F(HostSoundTest, CamerasAreListedAndChosen) {
    ASSERT_NO_FATAL_FAILURE(startPage());
    const std::string kPattern = "Mire: Mire (synthetic moving picture)";
    const auto listed = page->call("getMultimediaDevices", "{}");
    // The engine's still picture and moving test pattern stand in for a camera on every machine.
    EXPECT_TRUE(has(devicesOf(listed), "StaticImage: Static picture;" + kPattern + ";")) << devicesOf(listed);
    EXPECT_EQ(selectedFor(listed, "Capture"), "StaticImage: Static picture;");
    EXPECT_EQ(error("setCaptureDevice", "{\"clientCaptureID\": \"no such camera\"}"), "eInvalidArgument");
    ASSERT_EQ(error("setCaptureDevice", "{\"clientCaptureID\": \"" + kPattern + "\"}"), "");
    EXPECT_EQ(selectedFor(page->call("getMultimediaDevices", "{}"), "Capture"), kPattern + ";");

    // Kept for the next start.
    page->host().closeInput();
    ASSERT_EQ(page->host().waitExit(20s), 0);
    pelatest::HostProcess::Options again = options;
    again.home = page->host().home();
    SignedInHost restarted(sip, again);
    ASSERT_TRUE(restarted.start("udp")) << restarted.why();
    EXPECT_EQ(selectedFor(restarted.call("getMultimediaDevices", "{}"), "Capture"), kPattern + ";");
}

// No sound server at all: calls run on files, the far end still gets RTP
// (silence), and the log says why.
TEST(HostWithoutSoundTest, SendsSilenceAndSaysSo) {
    KamailioFixture sip;
    ASSERT_TRUE(sip.start()) << sip.error();
    SipPeer::Options peer;
    peer.name = "bob";
    peer.autoAnswer = true;
    SipPeer bob(peer);
    ASSERT_TRUE(bob.start()) << bob.error();
    ASSERT_TRUE(bob.registerAs(sip, "bob", "udp")) << bob.logText();
    pelatest::HostProcess::Options options;
    options.extraEnv["PULSE_SERVER"] = "unix:/nonexistent/pulse/native";
    SignedInHost page(sip, options);
    ASSERT_TRUE(page.start("udp")) << page.why();
    ASSERT_TRUE(page.signIn("alice")) << page.why();
    const std::string log = page.host().logText();
    EXPECT_TRUE(has(log, "no sound device to record from and play to, sending silence")) << log;
    EXPECT_TRUE(has(log, "no sound server")) << log;

    ASSERT_EQ(SignedInHost::field(page.call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"Inactive\"}"),
                                  "error"),
              "");
    const int atBob = bob.waitIncomingCall(10s);
    ASSERT_TRUE(bob.waitCallState(atBob, "StreamsRunning", 10s)) << bob.logText();
    // RTP keeps coming, past the length of the silence played in a loop.
    std::this_thread::sleep_for(1500ms);
    const long early = bob.receivedPackets();
    std::this_thread::sleep_for(1500ms);
    const long later = bob.receivedPackets();
    EXPECT_GT(early, 40);
    EXPECT_GT(later - early, 50) << "packets every 20 ms for 1.5 s";
}

}  // namespace
