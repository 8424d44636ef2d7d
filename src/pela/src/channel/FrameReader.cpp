#include "channel/FrameReader.h"

#include <cerrno>
#include <utility>

namespace tessel {

namespace {

// Payloads are read in pieces so memory follows what the peer sends, not what
// it announces (a prefix may claim up to 4 GiB).
const size_t kPayloadChunk = 64 * 1024;

// Whether a failed stdio read was only interrupted by a signal and may go on.
bool interrupted(FILE* input) {
    if (ferror(input) && !feof(input) && errno == EINTR) {
        clearerr(input);
        return true;
    }
    return false;
}

// Reads up to n bytes; fewer only at end of input or on a read error.
size_t readBytes(FILE* input, char* buffer, size_t n) {
    size_t got = 0;
    while (got < n) {
        errno = 0;
        got += fread(buffer + got, 1, n - got, input);
        if (got < n && !interrupted(input)) {
            break;
        }
    }
    return got;
}

// Appends up to length bytes to message; returns how many were missing.
uint32_t readPayload(FILE* input, uint32_t length, std::string& message) {
    uint32_t remaining = length;
    while (remaining > 0) {
        size_t chunk = remaining < kPayloadChunk ? remaining : kPayloadChunk;
        size_t old = message.size();
        message.resize(old + chunk);
        size_t got = readBytes(input, &message[old], chunk);
        message.resize(old + got);
        remaining -= static_cast<uint32_t>(got);
        if (got < chunk) {
            break;
        }
    }
    return remaining;
}

uint32_t assembleLength(const unsigned char prefix[4], bool bigEndian) {
    if (bigEndian) {
        return (uint32_t(prefix[0]) << 24) | (uint32_t(prefix[1]) << 16) | (uint32_t(prefix[2]) << 8) |
               uint32_t(prefix[3]);
    }
    return uint32_t(prefix[0]) | (uint32_t(prefix[1]) << 8) | (uint32_t(prefix[2]) << 16) | (uint32_t(prefix[3]) << 24);
}

// Reads one line without its line feed. Fails, as a stream's getline does,
// only when end of input or an error comes before any character: a last line
// without a line feed is still delivered.
bool readLine(FILE* input, std::string& line) {
    for (;;) {
        errno = 0;
        int c = getc(input);
        if (c == EOF) {
            if (interrupted(input)) {
                continue;
            }
            return !line.empty();
        }
        if (c == '\n') {
            return true;
        }
        line.push_back(static_cast<char>(c));
    }
}

}  // namespace

FrameReader::FrameReader(FILE* input, bool chromeFraming, std::function<bool()> bigEndian)
    : m_pInput(input), m_chromeFraming(chromeFraming), m_bigEndian(std::move(bigEndian)) {}

FrameReader::Frame FrameReader::next() {
    return m_chromeFraming ? nextChromeFrame() : nextLine();
}

FrameReader::Frame FrameReader::nextChromeFrame() {
    Frame frame;
    size_t got = readBytes(m_pInput, reinterpret_cast<char*>(m_prefix), sizeof(m_prefix));
    if (got < sizeof(m_prefix)) {
        frame.inputOver = true;
        frame.atEof = feof(m_pInput) != 0;
        return frame;
    }
    uint32_t length = assembleLength(m_prefix, m_bigEndian && m_bigEndian());
    frame.missing = readPayload(m_pInput, length, frame.message);
    return frame;
}

FrameReader::Frame FrameReader::nextLine() {
    Frame frame;
    if (!readLine(m_pInput, frame.message)) {
        frame.inputOver = true;
        frame.atEof = feof(m_pInput) != 0;
    }
    return frame;
}

}  // namespace tessel
