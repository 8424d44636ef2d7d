// Round-trip time of "getVersion" through the built host in Chrome framing,
// next to a minimal echo host driven the same way, and the time from process
// start to the first reply. Usage: host_roundtrip [requests] [starts] [samples folder]
// With a samples folder, each round trip (us) goes to host.txt and echo.txt
// there, one per line (bench/roundtrip_cdf.sh plots them).

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

bool measure(const std::string& label, const std::string& exe, int requests) {
    HostProcess::Options o;
    o.executable = exe;
    HostProcess host(o);
    std::vector<double> samples;
    double us = 0;
    for (int i = 0; i < 50; ++i) {  // warm-up
        if (!roundTrip(host, -1 - i, us)) return false;
    }
    for (int i = 0; i < requests; ++i) {
        if (!roundTrip(host, i, us)) {
            fprintf(stderr, "%s: request %d failed\n", label.c_str(), i);
            return false;
        }
        samples.push_back(us);
    }
    printf("%-10s getVersion round trip over %d requests: median %.1f us, p99 %.1f us\n", label.c_str(), requests,
           percentile(samples, 0.5), percentile(samples, 0.99));
    if (!g_samplesFolder.empty()) {
        std::ofstream out(g_samplesFolder + "/" + (label == "host" ? "host" : "echo") + ".txt");
        for (double sample : samples) out << sample << "\n";
    }
    host.closeInput();
    host.waitExit(std::chrono::seconds(5));
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
    bool ok = measure("host", bin + "/pelahost", requests) && measure("echo host", bin + "/echo_host", requests) &&
              startup(bin + "/pelahost", starts);
    return ok ? 0 : 1;
}
