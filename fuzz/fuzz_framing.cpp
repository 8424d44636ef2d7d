// The channel's framing over arbitrary bytes, in both framings: every message
// the reader yields must be exactly what the bytes say, in order, and the
// reader must come to the end of any input.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "channel/FrameReader.h"

using tessel::FrameReader;

namespace {

[[noreturn]] void fail(const char* what) {
    fprintf(stderr, "framing: %s\n", what);
    abort();
}

// fmemopen refuses an empty buffer; the empty input is read from a file that
// is at its end at once.
FILE* openBytes(const uint8_t* data, size_t size) {
    static char empty = 0;
    if (size == 0) {
        FILE* f = fmemopen(&empty, 1, "r");
        if (f) fgetc(f);
        return f;
    }
    return fmemopen(const_cast<uint8_t*>(data), size, "r");
}

std::vector<FrameReader::Frame> readAll(const uint8_t* data, size_t size, bool chrome, size_t bound) {
    std::vector<FrameReader::Frame> frames;
    FILE* in = openBytes(data, size);
    if (!in) fail("fmemopen");
    FrameReader reader(in, chrome, [] { return false; });
    for (;;) {
        if (frames.size() > bound) fail("reader does not come to the end of its input");
        frames.push_back(reader.next());
        if (frames.back().inputOver) break;
    }
    fclose(in);
    return frames;
}

void checkLines(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    // At most one message per line feed, one for a last line without one, and the end.
    std::vector<FrameReader::Frame> frames = readAll(data, size, false, size + 2);
    std::string joined;
    for (size_t i = 0; i + 1 < frames.size(); ++i) {
        const FrameReader::Frame& f = frames[i];
        if (f.missing != 0) fail("a line reports missing bytes");
        if (f.message.find('\n') != std::string::npos) fail("a line holds a line feed");
        joined += f.message;
        if (i + 2 < frames.size() || (!input.empty() && input.back() == '\n')) joined += '\n';
    }
    const FrameReader::Frame& last = frames.back();
    if (!last.message.empty() || !last.atEof) fail("line input did not end at end of input");
    if (joined != input) fail("lines do not add up to the input");
}

void checkChrome(const uint8_t* data, size_t size) {
    // Every frame takes at least its 4-byte prefix.
    std::vector<FrameReader::Frame> frames = readAll(data, size, true, size / 4 + 2);
    size_t pos = 0;
    for (size_t i = 0; i + 1 < frames.size(); ++i) {
        const FrameReader::Frame& f = frames[i];
        if (size - pos < 4) fail("a frame without a whole prefix");
        uint32_t length;
        memcpy(&length, data + pos, 4);  // host byte order, as the browser writes it
        pos += 4;
        const size_t have = size - pos;
        const size_t take = length < have ? length : have;
        if (f.message.size() != take || memcmp(f.message.data(), data + pos, take) != 0) fail("frame payload differs");
        if (f.missing != length - take) fail("missing byte count is wrong");
        if (f.missing != 0 && i + 2 != frames.size()) fail("a cut frame is not the last");
        pos += take;
    }
    const FrameReader::Frame& last = frames.back();
    if (!last.message.empty() || !last.atEof) fail("frame input did not end at end of input");
    if (size - pos >= 4) fail("the reader stopped before the input did");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checkLines(data, size);
    checkChrome(data, size);
    return 0;
}
