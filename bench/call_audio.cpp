// Sound through the built host on a desktop sound server (a private
// PulseAudio: null sinks, a 1 kHz sine source as microphone), against
// Kamailio and a remote party (pela_sippeer) sending a 440 Hz tone.
// 1. Answer to audio, over N incoming calls: from writing "answer" to the far
//    end hearing our microphone (its received level above -40 dBm0, polled
//    every 5 ms) and to the far end's tone being played on our speaker (seen
//    in 20 ms blocks recorded from the speaker's monitor: an upper bound, as
//    the recorder adds its own latency).
// 2. CPU of an idle call: the host's CPU time (user + system, from /proc)
//    over 10 s of a call in talk with the sound server, then the same with
//    no sound server at all (files mode, sending silence); the sound
//    server's own CPU in the first case is shown beside it.
// Usage: call_audio [calls, default 10, at most 50]

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "HostProcess.h"
#include "KamailioFixture.h"
#include "PulseFixture.h"
#include "Samples.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::PulseFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;
using Clock = std::chrono::steady_clock;

using pelabench::cpuSeconds;

namespace {

double msBetween(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double, std::milli>(b - a).count();
}

// Records a source in 20 ms blocks of 8 kHz mono and notes when a block
// carries mostly a 440 Hz tone at a level worth hearing.
class ToneWatch {
public:
    ToneWatch(const PulseFixture& pulse, const std::string& source) {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0) return;
        m_pid =
            pelatest::spawn({"/usr/bin/parec", "-d", source, "--raw", "--format=s16le", "--rate=8000", "--channels=1",
                             "--latency-msec=10"},
                            pelatest::childEnv({"PULSE_SERVER"}, {"PULSE_SERVER=" + pulse.server()}), -1, fds[1], -1);
        close(fds[1]);
        m_fd = fds[0];
        m_thread = std::thread([this] { run(); });
    }
    ~ToneWatch() {
        // The recorder's end closes the pipe, which ends the reading thread.
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            pelatest::reaped(m_pid, 5s);
        }
        if (m_thread.joinable()) m_thread.join();
        if (m_fd >= 0) close(m_fd);
    }
    // The first block heard with the tone at or after t0; false if none yet.
    bool firstToneAfter(Clock::time_point t0, Clock::time_point& at) {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (Clock::time_point t : m_tones) {
            if (t >= t0) {
                at = t;
                return true;
            }
        }
        return false;
    }

private:
    void run() {
        int16_t block[160];
        auto* bytes = reinterpret_cast<char*>(block);
        size_t have = 0;
        for (ssize_t n; (n = read(m_fd, bytes + have, sizeof(block) - have)) > 0;) {
            have += static_cast<size_t>(n);
            if (have < sizeof(block)) continue;
            have = 0;
            const Clock::time_point now = Clock::now();
            // Goertzel at 440 Hz against the block's whole power.
            const double k = 2 * std::cos(2 * M_PI * 440.0 / 8000.0);
            double s1 = 0, s2 = 0, power = 0;
            for (int16_t v : block) {
                const double x = v / 32768.0;
                const double s0 = x + k * s1 - s2;
                s2 = s1;
                s1 = s0;
                power += x * x;
            }
            const double tone = (s1 * s1 + s2 * s2 - k * s1 * s2) * 2.0 / 160.0;
            if (power / 160.0 > 1e-4 && tone / power > 0.5) {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_tones.push_back(now);
            }
        }
    }

    pid_t m_pid = -1;
    int m_fd = -1;
    std::thread m_thread;
    std::mutex m_mutex;
    std::vector<Clock::time_point> m_tones;
};

// A call from bob answered by the page; what comes next is up to the caller.
int answered(SignedInHost& page, SipPeer& bob, const KamailioFixture& sip, Clock::time_point* t0 = nullptr) {
    const size_t from = page.seen().size();
    if (!bob.command("call " + sip.userUri("alice"))) return 0;
    ptree ringing;
    if (!page.waitForCallState("RingIn", from, &ringing)) return 0;
    const int callId = ringing.get<int>("callId", 0);
    if (t0 != nullptr) *t0 = Clock::now();
    const auto reply =
        page.call("answer", "{\"callId\": " + std::to_string(callId) + ", \"videoDirection\": \"Inactive\"}");
    return SignedInHost::field(reply, "error").empty() ? callId : 0;
}

bool hangUp(SignedInHost& page, SipPeer& bob) {
    const size_t from = page.seen().size();
    return bob.command("hangup") && page.waitForCallState("Idle", from);
}

// CPU seconds per second of the host (and of the sound server, when given)
// over 10 s of a call in talk.
bool idleCallCpu(SignedInHost& page, SipPeer& bob, const KamailioFixture& sip, pid_t server, double& host,
                 double& sound) {
    if (answered(page, bob, sip) == 0) return false;
    std::this_thread::sleep_for(2s);  // past the call's start
    const double host0 = cpuSeconds(page.host().pid());
    const double sound0 = server > 0 ? cpuSeconds(server) : 0;
    const auto t0 = Clock::now();
    std::this_thread::sleep_for(10s);
    const double seconds = msBetween(t0, Clock::now()) / 1000.0;
    host = (cpuSeconds(page.host().pid()) - host0) / seconds;
    sound = server > 0 ? (cpuSeconds(server) - sound0) / seconds : 0;
    return hangUp(page, bob);
}

}  // namespace

int main(int argc, char** argv) {
    const int calls = argc > 1 ? std::max(1, std::min(50, std::atoi(argv[1]))) : 10;
    PulseFixture pulse;
    KamailioFixture sip;
    if (!pulse.start() || !sip.start()) {
        fprintf(stderr, "fixtures: %s %s\n", pulse.error().c_str(), sip.error().c_str());
        return 1;
    }
    SipPeer::Options peer;
    peer.name = "bob";
    peer.toneHz = 440.0;
    SipPeer bob(peer);
    if (!bob.start() || !bob.registerAs(sip, "bob", "udp")) {
        fprintf(stderr, "bob: %s\n", bob.error().c_str());
        return 1;
    }

    std::vector<double> out, in;
    double soundHost = 0, soundServer = 0;
    {
        pelatest::HostProcess::Options options;
        options.extraEnv["PULSE_SERVER"] = pulse.server();
        SignedInHost page(sip, options);
        if (!page.start("udp") || !page.signIn("alice")) {
            fprintf(stderr, "host: %s\n", page.why().c_str());
            return 1;
        }
        ToneWatch speaker(pulse, "speakers.monitor");
        for (int i = 0; i < calls; ++i) {
            Clock::time_point t0;
            if (answered(page, bob, sip, &t0) == 0) {
                fprintf(stderr, "call %d: not answered\n", i);
                return 1;
            }
            double heard = -1;
            double played = -1;
            while (msBetween(t0, Clock::now()) < 5000 && (heard < 0 || played < 0)) {
                if (heard < 0 && bob.receivedVolume() > -40.0) heard = msBetween(t0, Clock::now());
                Clock::time_point at;
                if (played < 0 && speaker.firstToneAfter(t0, at)) played = msBetween(t0, at);
                std::this_thread::sleep_for(5ms);
            }
            if (heard < 0 || played < 0) {
                fprintf(stderr, "call %d: audio not flowing both ways (far end %.0f, speaker %.0f)\n", i, heard,
                        played);
                return 1;
            }
            out.push_back(heard);
            in.push_back(played);
            if (!hangUp(page, bob)) {
                fprintf(stderr, "call %d: did not end\n", i);
                return 1;
            }
        }
        if (!idleCallCpu(page, bob, sip, pulse.pid(), soundHost, soundServer)) {
            fprintf(stderr, "idle call with the sound server failed\n");
            return 1;
        }
    }
    double filesHost = 0, unused = 0;
    {
        pelatest::HostProcess::Options options;
        options.extraEnv["PULSE_SERVER"] = "unix:/nonexistent/pulse/native";
        SignedInHost page(sip, options);
        if (!page.start("udp") || !page.signIn("alice") || !idleCallCpu(page, bob, sip, -1, filesHost, unused)) {
            fprintf(stderr, "idle call on files failed: %s\n", page.why().c_str());
            return 1;
        }
    }
    pelabench::report("answer -> far end hears us", "calls", out);
    pelabench::report("answer -> we hear the far end", "calls", in);
    printf("idle call CPU, host with sound server: %5.1f%% (sound server itself %5.1f%%)\n", 100 * soundHost,
           100 * soundServer);
    printf("idle call CPU, host on files:          %5.1f%%\n", 100 * filesHost);
    printf("ratio host sound server / files: %.2fx; with the sound server's own share: %.2fx\n", soundHost / filesHost,
           (soundHost + soundServer) / filesHost);
    return 0;
}
