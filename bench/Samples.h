#pragma once

// Order statistics of timing samples for the whole-process timing programs,
// and the CPU a process has used.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <sys/types.h>

namespace pelabench {

// The sample at fraction p (0..1) of the sorted samples; v is not empty.
inline double percentile(std::vector<double> v, double p) {
    std::sort(v.begin(), v.end());
    return v[static_cast<size_t>(p * (v.size() - 1) + 0.5)];
}

// One line: label, count of what was timed, median, p95 and minimum in ms.
inline void report(const char* label, const char* what, const std::vector<double>& ms) {
    printf("%-34s %zu %s: median %7.2f ms, p95 %7.2f ms, min %7.2f ms\n", label, ms.size(), what, percentile(ms, 0.5),
           percentile(ms, 0.95), *std::min_element(ms.begin(), ms.end()));
}

// Resident memory of a process in kB; -1 when it cannot be read.
inline long residentKb(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string key;
    while (status >> key) {
        if (key == "VmRSS:") {
            long kb = 0;
            status >> kb;
            return kb;
        }
    }
    return -1;
}

// Seconds of CPU a process has used (user + system).
inline double cpuSeconds(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    unsigned long long user = 0, system = 0;
    for (int i = 3; fields >> field; ++i) {
        if (i == 14) user = std::stoull(field);
        if (i == 15) {
            system = std::stoull(field);
            break;
        }
    }
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace pelabench
