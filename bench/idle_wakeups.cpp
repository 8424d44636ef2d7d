// Wake-ups of the built host: context switches per second, all its threads
// together, (1) before any page asked for anything (framework not started),
// (2) signed in against Kamailio with no call, (3) in a settled call to an
// auto-answering SIP phone. Also the resident memory at each stage.
// Usage: idle_wakeups [seconds per stage, default 5, at most 60]

#include <dirent.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "HostProcess.h"
#include "KamailioFixture.h"
#include "PhoneBed.h"
#include "Samples.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;

using pelabench::residentKb;

namespace {

// Voluntary and involuntary switches of every thread of pid.
long long contextSwitches(pid_t pid, int& threads) {
    const std::string dir = "/proc/" + std::to_string(pid) + "/task";
    long long total = 0;
    threads = 0;
    DIR* tasks = opendir(dir.c_str());
    if (tasks == nullptr) return -1;
    while (dirent* entry = readdir(tasks)) {
        if (entry->d_name[0] == '.') continue;
        ++threads;
        std::ifstream status(dir + "/" + entry->d_name + "/status");
        std::string key;
        long long value = 0;
        while (status >> key) {
            if (key == "voluntary_ctxt_switches:" || key == "nonvoluntary_ctxt_switches:") {
                status >> value;
                total += value;
            }
        }
    }
    closedir(tasks);
    return total;
}

void measure(const char* stage, pid_t pid, int seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(1));  // let start-up work settle
    int threads = 0;
    const long long before = contextSwitches(pid, threads);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const long long after = contextSwitches(pid, threads);
    printf("%-40s %2d threads, %7.1f context switches/s, %6.1f MB resident\n", stage, threads,
           static_cast<double>(after - before) / seconds, residentKb(pid) / 1024.0);
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = std::clamp(argc > 1 ? std::atoi(argv[1]) : 5, 1, 60);
    {
        pelatest::HostProcess host(pelatest::HostProcess::Options{});
        measure("host, framework not started", host.pid(), seconds);
        host.closeInput();
        host.waitExit(std::chrono::seconds(5));
    }

    KamailioFixture sip;
    SipPeer bob(pelabench::bobOptions());
    if (!pelabench::startBed(sip, bob)) return 1;
    SignedInHost page(sip);
    if (!page.start("tcp") || !page.signIn("alice")) {
        fprintf(stderr, "host: %s\n", page.why().c_str());
        return 1;
    }
    const pid_t pid = page.host().pid();
    measure("host, signed in, no call", pid, seconds);

    const size_t from = page.seen().size();
    page.call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"Inactive\"}");
    if (!page.waitForCallState("Connected", from)) {
        fprintf(stderr, "host: the call did not connect\n");
        return 1;
    }
    measure("host, in a call (files, no sound card)", pid, seconds);
    return 0;
}
