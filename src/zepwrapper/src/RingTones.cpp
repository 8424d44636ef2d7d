#include "RingTones.h"

#include <algorithm>
#include <cmath>

namespace tessel {
namespace zep {

namespace {

const double kPi = 3.14159265358979323846;

// Adds a burst from `start` seconds for `length` seconds; each sample is
// shape(t) in -1..1, scaled by level and faded in and out over 5 ms.
template <class Shape>
void burst(std::vector<int16_t>& out, double start, double length, double level, Shape shape) {
    const int rate = RingTones::kSampleRate;
    const size_t first = static_cast<size_t>(start * rate);
    const size_t count = static_cast<size_t>(length * rate);
    const double fade = 0.005 * rate;
    for (size_t i = 0; i < count && first + i < out.size(); ++i) {
        const double edge = std::min({1.0, static_cast<double>(i) / fade, static_cast<double>(count - 1 - i) / fade});
        const double t = static_cast<double>(i) / rate;
        out[first + i] = static_cast<int16_t>(std::lround(32767.0 * level * edge * shape(t)));
    }
}

}  // namespace

std::vector<int16_t> RingTones::ring() {
    std::vector<int16_t> out(static_cast<size_t>(3.0 * kSampleRate), 0);
    // Both notes, their loudness warbling like a bell's trill.
    auto trill = [](double t) {
        const double chord = 0.5 * (std::sin(2 * kPi * 660.0 * t) + std::sin(2 * kPi * 880.0 * t));
        return chord * (0.6 + 0.4 * std::sin(2 * kPi * 20.0 * t));
    };
    burst(out, 0.0, 0.4, 0.4, trill);
    burst(out, 0.6, 0.4, 0.4, trill);
    return out;
}

std::vector<int16_t> RingTones::ringback() {
    std::vector<int16_t> out(static_cast<size_t>(5.0 * kSampleRate), 0);
    burst(out, 0.0, 1.0, 0.25, [](double t) { return std::sin(2 * kPi * 425.0 * t); });
    return out;
}

}  // namespace zep
}  // namespace tessel
