#pragma once

// Order statistics of timing samples for the whole-process timing programs.

#include <algorithm>
#include <cstdio>
#include <vector>

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

}  // namespace pelabench
