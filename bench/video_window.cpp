// The external video window through the built host on Xvfb with openbox,
// against Kamailio and a remote party (pela_sippeer) sending the engine's
// moving test pattern at QVGA:
// 1. from the "Connected" event of a video call shown in the window to the
//    first frame drawn there (the middle of the video area lit, polled every
//    10 ms from the screen), over N calls;
// 2. the CPU of a QVGA video call with the window shown, over 15 s: the
//    host's and the X server's, and in turns of 5 s with the
//    host's for the same call with the window hidden.
// Usage: video_window [calls, default 5, at most 20]

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "KamailioFixture.h"
#include "Samples.h"
#include "SignedInHost.h"
#include "SipPeer.h"
#include "Xvfb.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;
using tessel::test::Xvfb;
using Clock = std::chrono::steady_clock;

using pelabench::cpuSeconds;

namespace {

const int kRow = 40;  // the controls bar under the video area

pid_t pidOf(const char* name) {
    const Xvfb::CommandResult r = Xvfb::runCommand({"pgrep", "-n", "-x", name});
    return r.status == 0 ? std::atoi(r.out.c_str()) : -1;
}

}  // namespace

int main(int argc, char** argv) {
    const int calls = argc > 1 ? std::max(1, std::min(20, std::atoi(argv[1]))) : 5;
    Xvfb xvfb;
    KamailioFixture sip;
    if (!xvfb.start() || (xvfb.exportEnvironment(), !xvfb.startWindowManager()) || !sip.start()) {
        fprintf(stderr, "fixtures: %s %s\n", xvfb.error().c_str(), sip.error().c_str());
        return 1;
    }
    SipPeer::Options peer;
    peer.name = "bob";
    peer.video = true;
    peer.autoAnswer = true;
    SipPeer bob(peer);
    if (!bob.start() || !bob.registerAs(sip, "bob", "udp")) return 1;
    pelatest::HostProcess::Options options;
    options.display = xvfb.display();
    // One host per call: in this engine version a second video call of the
    // same process is not drawn (see docs/telephony.md).
    std::vector<double> firstFrame;
    std::unique_ptr<SignedInHost> page;
    std::string window;
    std::string callId;
    for (int i = 0; i < calls; ++i) {
        page.reset(new SignedInHost(sip, options));
        page->setEngineConfig("[video]\nsize=qvga\n");
        if (!page->start("udp") || !page->signIn("alice")) {
            fprintf(stderr, "host: %s\n", page->why().c_str());
            return 1;
        }
        page->call("setExternalWindowTitle", "{\"title\": \"Bench video\"}");
        const size_t from = page->seen().size();
        const auto placed = page->call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"SendRecv\"}");
        callId = SignedInHost::field(placed, "content.callId");
        page->call("showCallInExternalWindow", "{\"callId\": " + callId + "}");
        if (!page->waitForCallState("Connected", from)) {
            fprintf(stderr, "call %d: not connected\n", i);
            return 1;
        }
        const auto t0 = Clock::now();
        window = Xvfb::waitForWindow("Bench video");
        int w = 0;
        int h = 0;
        double drawn = -1;
        while (Xvfb::windowSize(window, w, h) && std::chrono::duration<double>(Clock::now() - t0).count() < 10) {
            if (Xvfb::litShare(window, w / 3, 0, w / 3, h - kRow) > 0.9) {
                drawn = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
                break;
            }
            std::this_thread::sleep_for(10ms);
        }
        if (drawn < 0) {
            fprintf(stderr, "call %d: no frame drawn\n", i);
            return 1;
        }
        firstFrame.push_back(drawn);
        if (i + 1 < calls) {
            page->call("endCall", "{\"callId\": " + callId + "}");
            page->host().closeInput();
            page->host().waitExit(20s);
        }
    }
    pelabench::report("Connected -> first frame drawn", "calls", firstFrame);

    // The last call is still up, shown. Its CPU shown and hidden, in turns
    // of 5 s (the encoder's rate still climbs in the first seconds: one
    // long period of each would favour the first).
    const pid_t host = page->host().pid();
    const pid_t server = pidOf("Xvfb");
    std::this_thread::sleep_for(2s);
    double shownHost = 0, shownServer = 0, hiddenHost = 0;
    const int turns = 3;
    for (int turn = 0; turn < turns; ++turn) {
        double h0 = cpuSeconds(host), x0 = server > 0 ? cpuSeconds(server) : 0;
        std::this_thread::sleep_for(5s);
        shownHost += (cpuSeconds(host) - h0) / (5.0 * turns);
        shownServer += server > 0 ? (cpuSeconds(server) - x0) / (5.0 * turns) : 0;
        page->call("hideExternalWindow", "{}");
        std::this_thread::sleep_for(1s);
        h0 = cpuSeconds(host);
        std::this_thread::sleep_for(5s);
        hiddenHost += (cpuSeconds(host) - h0) / (5.0 * turns);
        page->call("showCallInExternalWindow", "{\"callId\": " + callId + "}");
        std::this_thread::sleep_for(1s);
    }
    printf("QVGA video call, window shown:  host %5.1f%%, X server %5.1f%%\n", 100 * shownHost, 100 * shownServer);
    printf("QVGA video call, window hidden: host %5.1f%% (shown/hidden %.2fx)\n", 100 * hiddenHost,
           shownHost / hiddenHost);
    page->call("endCall", "{\"callId\": " + callId + "}");
    return 0;
}
