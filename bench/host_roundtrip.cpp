// Round-trip time of "getVersion" through the built host in Chrome framing,
// next to a minimal echo host driven the same way, and to that echo passed
// through three threads and two queues as the host's requests are; then the
// time from process start to the first reply.
// Usage: host_roundtrip [requests] [starts] [samples folder]
// With a samples folder, each round trip (us) goes to host.txt, echo.txt and
// relay.txt there, one per line (bench/roundtrip_cdf.sh plots them).

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "HostProcess.h"
#include "Samples.h"

using namespace pelatest;
using Clock = std::chrono::steady_clock;

using pelabench::percentile;

namespace {

bool roundTrip(HostProcess& host, int i, double& micros) {
    std::string id = "rt" + std::to_string(i);
    auto t0 = Clock::now();
    host.send(request("p1", "bench.example.org", "getVersion", id));
    std::string reply;
    if (!host.receive(reply, std::chrono::seconds(5))) return false;
    micros = std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
    return reply.find("\"" + id + "\"") != std::string::npos;
}

std::string g_samplesFolder;

// One of the three processes measured: the host, the echo host, the echo
// host's three-thread relay.
struct Subject {
    std::string label;
    std::string file;  // samples file name in the samples folder
    std::string exe;
    bool threads;
    std::vector<double> samples;
};

// requests round trips through a fresh process of the subject.
bool measureRound(Subject& subject, int requests) {
    HostProcess::Options o;
    o.executable = subject.exe;
    if (subject.threads) o.extraEnv["ECHO_HOST_THREADS"] = "1";
    HostProcess host(o);
    double us = 0;
    for (int i = 0; i < 50; ++i) {  // warm-up
        if (!roundTrip(host, -1 - i, us)) return false;
    }
    for (int i = 0; i < requests; ++i) {
        if (!roundTrip(host, i, us)) {
            fprintf(stderr, "%s: request %d failed\n", subject.label.c_str(), i);
            return false;
        }
        subject.samples.push_back(us);
    }
    host.closeInput();
    host.waitExit(std::chrono::seconds(5));
    return true;
}

// The subjects take turns, a fresh process each round: where the scheduler
// puts a process and its driver (one core or two) moves a round trip between
// ~10 and ~90 us on a small virtual machine, and it differs from one process
// to the next. Pooling rounds gives each subject the same mix.
bool measure(std::vector<Subject>& subjects, int requests, int rounds) {
    for (int round = 0; round < rounds; ++round) {
        for (Subject& subject : subjects) {
            if (!measureRound(subject, requests / rounds)) return false;
        }
    }
    for (const Subject& subject : subjects) {
        printf("%-10s getVersion round trip over %zu requests in %d rounds: median %.1f us, p99 %.1f us\n",
               subject.label.c_str(), subject.samples.size(), rounds, percentile(subject.samples, 0.5),
               percentile(subject.samples, 0.99));
        if (!g_samplesFolder.empty()) {
            std::ofstream out(g_samplesFolder + "/" + subject.file + ".txt");
            for (double sample : subject.samples) out << sample << "\n";
        }
    }
    const Subject& host = subjects[0];
    for (size_t i = 1; i < subjects.size(); ++i) {
        printf("host against %-9s median %.1fx, p99 %.1fx\n", subjects[i].label.c_str(),
               percentile(host.samples, 0.5) / percentile(subjects[i].samples, 0.5),
               percentile(host.samples, 0.99) / percentile(subjects[i].samples, 0.99));
    }
    return true;
}

bool startup(const std::string& exe, int starts) {
    std::vector<double> samples;
    for (int i = 0; i < starts; ++i) {
        HostProcess::Options o;
        o.executable = exe;
        auto t0 = Clock::now();
        HostProcess host(o);
        host.send(request("p1", "bench.example.org", "getVersion", "first"));
        std::string reply;
        if (!host.receive(reply, std::chrono::seconds(10))) return false;
        samples.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
        host.closeInput();
        host.waitExit(std::chrono::seconds(5));
    }
    printf("host       process start to first reply over %d starts: median %.1f ms, max %.1f ms\n", starts,
           percentile(samples, 0.5), percentile(samples, 1.0));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int requests = argc > 1 ? std::atoi(argv[1]) : 2000;
    int starts = argc > 2 ? std::atoi(argv[2]) : 20;
    if (argc > 3) g_samplesFolder = argv[3];
    const std::string bin = PELA_BIN_DIR;
    std::vector<Subject> subjects{{"host", "host", bin + "/pelahost", false, {}},
                                  {"echo host", "echo", bin + "/echo_host", false, {}},
                                  {"3 threads", "relay", bin + "/echo_host", true, {}}};
    bool ok = measure(subjects, requests, std::clamp(requests / 200, 1, 10)) && startup(bin + "/pelahost", starts);
    return ok ? 0 : 1;
}
