// Call set-up time through the built host: from writing "originate" to its
// pipe to reading the "callstatechange" that reports the call connected, over
// N calls to an auto-answering remote party (pela_sippeer) behind Kamailio on
// loopback. Next to it, in the same run, the same call placed by a bare
// liblinphone core (a second pela_sippeer driven by its "call" command) to
// the same remote, timed until its Connected and its StreamsRunning event.
// Both callers and the remote get an engine round every millisecond.
// Usage: call_setup [calls, default 30, at most 200]
//
// Where the time goes (three runs of 30 calls on a shared 2-core machine,
// medians): through the host a call is connected after 34-37 ms, the bare
// core's after 25-31 ms, so the host adds 6-10 ms (earlier runs on a busier
// machine gave -1 to +5 ms: the spread is as large as the difference).
// - Up to Kamailio's 100 Trying: 7.6-9 ms through the host ("Proceeding"),
//   3-4.3 ms for the bare core (OutgoingProgress): ~4-5 ms, the larger part
//   of the difference. The host's reply with the call id comes at ~4 ms (frame
//   in, JSON, task, the engine creating the call) and "Dialing" at ~6 ms; how
//   the rest splits between the channel, the task and the engine's next round
//   was not measured.
// - From 100 Trying to connected: 25.5-29 ms through the host against
//   21.8-26.3 ms for the bare core, the same SIP round trip through Kamailio
//   and the remote opening its file-fed audio stream before answering; the
//   host's extra ~3 ms is the event's way out: framework callback, event task
//   on the inbound queue, JSON for the page, outbound queue, writer thread,
//   pipe.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "HostProcess.h"
#include "KamailioFixture.h"
#include "PhoneBed.h"
#include "Samples.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;
using Clock = std::chrono::steady_clock;

using pelabench::percentile;
using pelabench::report;

namespace {

// The framework's words for a call in talk and a call that is over.
const char* const kConnected = "Connected";
const char* const kEnded = "Idle";

double msSince(Clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

// Reads the host until a "callstatechange" of callId reports state.
bool readState(pelatest::HostProcess& host, int callId, const std::string& state) {
    return host.receiveUntil(
        [&](const ptree& m) {
            if (!pelatest::isEvent(m, "callstatechange")) {
                return false;
            }
            return std::atoi(pelatest::serverField(m, "content.callId").c_str()) == callId &&
                   pelatest::serverField(m, "content.callState") == state;
        },
        20s);
}

// Milliseconds from writing "originate" to each step read back from the host.
struct HostSteps {
    std::vector<double> reply;       // the reply carrying the call id
    std::vector<double> dialing;     // "Dialing": the INVITE is on its way
    std::vector<double> proceeding;  // "Proceeding": the registrar's 100 Trying came back
    std::vector<double> connected;   // "Connected": the remote's 200 OK
};

// Call i through the signed-in host, from "originate" to the call ended.
bool viaHost(SignedInHost& page, SipPeer& remote, int i, HostSteps& steps) {
    pelatest::HostProcess& host = page.host();
    const size_t remoteFrom = remote.eventCount();
    const std::string messageId = "o" + std::to_string(i);
    const auto t0 = Clock::now();
    host.send(pelatest::request(SignedInHost::kClientId, SignedInHost::kSite, "originate", messageId,
                                "{\"recipient\": \"bob\"}"));
    int callId = 0;
    double reply = -1;
    double dialing = -1;
    double proceeding = -1;
    const bool connected = host.receiveUntil(
        [&](const ptree& m) {
            const double at = msSince(t0);
            if (pelatest::isReplyTo(m, messageId)) {
                reply = at;
                callId = std::atoi(pelatest::serverField(m, "content.callId").c_str());
                return false;
            }
            if (!pelatest::isEvent(m, "callstatechange")) {
                return false;
            }
            const std::string state = pelatest::serverField(m, "content.callState");
            if (state == "Dialing") dialing = at;
            if (state == "Proceeding") proceeding = at;
            if (state != kConnected) return false;
            steps.connected.push_back(at);
            return true;
        },
        20s);
    if (!connected || callId <= 0) {
        fprintf(stderr, "host call %d: not connected\n", i);
        return false;
    }
    steps.reply.push_back(reply);
    if (dialing >= 0) steps.dialing.push_back(dialing);
    if (proceeding >= 0) steps.proceeding.push_back(proceeding);
    host.send(pelatest::request(SignedInHost::kClientId, SignedInHost::kSite, "endCall", "e" + std::to_string(i),
                                "{\"callId\": " + std::to_string(callId) + "}"));
    if (!readState(host, callId, kEnded) || !remote.waitCallState(remote.lastCallId(), "Released", 10s, remoteFrom)) {
        fprintf(stderr, "host call %d: did not end\n", i);
        return false;
    }
    return true;
}

// Milliseconds from writing "call" to the bare core's events.
struct BareSteps {
    std::vector<double> progress;   // OutgoingProgress: the registrar's 100 Trying came back
    std::vector<double> connected;  // Connected: the remote's 200 OK
    std::vector<double> streams;    // StreamsRunning: media flowing
};

// Call i by the registered bare core, from "call" to the call ended.
bool viaBareCore(KamailioFixture& sip, SipPeer& caller, SipPeer& remote, int i, BareSteps& steps) {
    const size_t from = caller.eventCount();
    const size_t remoteFrom = remote.eventCount();
    const auto t0 = Clock::now();
    std::string reply;
    if (!caller.command("call " + sip.userUri("bob"), &reply)) {
        fprintf(stderr, "bare core call %d: %s\n", i, reply.c_str());
        return false;
    }
    const int id = std::atoi(reply.substr(reply.rfind(' ') + 1).c_str());
    if (caller.waitCallState(id, "OutgoingProgress", 20s, from)) {
        steps.progress.push_back(msSince(t0));
    }
    if (!caller.waitCallState(id, "Connected", 20s, from)) {
        fprintf(stderr, "bare core call %d: not connected\n", i);
        return false;
    }
    steps.connected.push_back(msSince(t0));
    if (!caller.waitCallState(id, "StreamsRunning", 20s, from)) {
        fprintf(stderr, "bare core call %d: no media\n", i);
        return false;
    }
    steps.streams.push_back(msSince(t0));
    caller.command("hangup " + std::to_string(id));
    if (!caller.waitCallState(id, "Released", 10s, from) ||
        !remote.waitCallState(remote.lastCallId(), "Released", 10s, remoteFrom)) {
        fprintf(stderr, "bare core call %d: did not end\n", i);
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const int count = std::clamp(argc > 1 ? std::atoi(argv[1]) : 30, 1, 200);
    KamailioFixture sip;
    SipPeer remote(pelabench::bobOptions(1));
    if (!pelabench::startBed(sip, remote)) return 1;
    SignedInHost page(sip);
    if (!page.start("tcp") || !page.signIn("alice")) {
        fprintf(stderr, "host: %s\n", page.why().c_str());
        return 1;
    }
    SipPeer::Options options;
    options.name = "bare";
    options.paceMs = 1;
    SipPeer caller(options);
    if (!caller.start() || !caller.registerAs(sip, "carol", "tcp")) {
        fprintf(stderr, "bare core: %s\n", caller.error().c_str());
        return 1;
    }
    // The two callers take turns, so that whatever else the machine does
    // weighs on both alike.
    HostSteps host;
    BareSteps bare;
    for (int i = 0; i < count; ++i) {
        if (!viaHost(page, remote, i, host) || !viaBareCore(sip, caller, remote, i, bare)) return 1;
    }
    caller.stop();
    report("host (pipe to pipe, Connected)", "calls", host.connected);
    report("bare core to Connected", "calls", bare.connected);
    report("bare core to StreamsRunning", "calls", bare.streams);
    // The host's "Connected" leaves after the engine round that received the
    // 200 OK, and that round also starts the media: it is the bare core's
    // StreamsRunning moment, not its Connected callback, that it compares with.
    printf("host adds %.2f ms at the median, %.2f ms at p95 (against the bare core's Connected)\n",
           percentile(host.connected, 0.5) - percentile(bare.connected, 0.5),
           percentile(host.connected, 0.95) - percentile(bare.connected, 0.95));
    printf("host against the bare core, medians: %.2fx its Connected, %.2fx its StreamsRunning\n",
           percentile(host.connected, 0.5) / percentile(bare.connected, 0.5),
           percentile(host.connected, 0.5) / percentile(bare.streams, 0.5));
    printf("steps, from writing the command:\n");
    report("  host: reply with the call id", "calls", host.reply);
    if (!host.dialing.empty()) report("  host: Dialing event", "calls", host.dialing);
    if (!host.proceeding.empty()) report("  host: Proceeding (100 Trying)", "calls", host.proceeding);
    if (!bare.progress.empty()) report("  bare: OutgoingProgress (100 Trying)", "calls", bare.progress);
    printf("after 100 Trying: host %.2f ms, bare core %.2f ms to Connected (medians)\n",
           percentile(host.connected, 0.5) - (host.proceeding.empty() ? 0 : percentile(host.proceeding, 0.5)),
           percentile(bare.connected, 0.5) - (bare.progress.empty() ? 0 : percentile(bare.progress, 0.5)));
    return 0;
}
