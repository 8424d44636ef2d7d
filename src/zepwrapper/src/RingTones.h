#pragma once

#include <cstdint>
#include <vector>

namespace tessel {
namespace zep {

// The framework's own ring and ring-back, made here rather than read from
// files: the desktop ships none we could rely on. Each is one cycle of mono
// 16-bit samples, to be played in a loop; both start and end in silence, so
// the loop has no click.
struct RingTones {
    static const int kSampleRate = 16000;
    // Two short bursts of 660 and 880 Hz, warbling at 20 Hz, every 3 s.
    static std::vector<int16_t> ring();
    // 425 Hz for 1 s, then 4 s of silence, as many networks' ring-back.
    static std::vector<int16_t> ringback();
};

}  // namespace zep
}  // namespace tessel
