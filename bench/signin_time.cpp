// Sign-in time through the built host: from writing "setUserProfileCredentials"
// to its pipe to reading "loggedin", over N sign-ins (logout in between), next
// to the same digest REGISTER made by a bare liblinphone core (pela_sippeer)
// against the same Kamailio on loopback over TCP, in the same run. Both
// engines get a round every millisecond.
// Usage: signin_time [sign-ins, default 20, at most 200]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "KamailioFixture.h"
#include "PasswordSignIns.h"
#include "Samples.h"
#include "SipPeer.h"

using namespace std::chrono_literals;
using tessel::test::KamailioFixture;
using tessel::test::SipPeer;
using Clock = std::chrono::steady_clock;

using pelabench::percentile;
using pelabench::report;

namespace {

bool viaBareCore(KamailioFixture& sip, int count, std::vector<double>& ms) {
    // Paced like the host, which gives the engine a round every millisecond.
    SipPeer::Options options;
    options.name = "bare";
    options.paceMs = 1;
    SipPeer peer(options);
    if (!peer.start()) {
        fprintf(stderr, "peer: %s\n", peer.error().c_str());
        return false;
    }
    for (int i = 0; i < count; ++i) {
        const auto t0 = Clock::now();
        if (!peer.registerAs(sip, "bob", "tcp")) {
            fprintf(stderr, "bare core registration %d failed: %s\n", i, peer.error().c_str());
            return false;
        }
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
        const size_t from = peer.eventCount();
        peer.command("unregister");
        peer.waitEvent("registration Cleared", 10s, from);
    }
    peer.stop();
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const int count = std::clamp(argc > 1 ? std::atoi(argv[1]) : 20, 1, 200);
    KamailioFixture sip;
    if (!sip.start()) {
        fprintf(stderr, "kamailio: %s\n", sip.error().c_str());
        return 1;
    }
    std::vector<double> host;
    std::vector<double> bare;
    if (!pelabench::passwordSignIns(sip, count, host) || !viaBareCore(sip, count, bare)) {
        return 1;
    }
    report("host (pipe to pipe)", "sign-ins", host);
    report("bare liblinphone core", "sign-ins", bare);
    printf("host adds %.2f ms at the median\n", percentile(host, 0.5) - percentile(bare, 0.5));
    return 0;
}
