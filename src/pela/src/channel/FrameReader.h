#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

namespace tessel {

// Cuts the channel input into messages, and nothing else: no thread, no log,
// no queue, so that the framing can be exercised on its own.
//
// Chrome framing: a 4-byte length in host byte order, then that many bytes.
// Newline framing: one line per message, without its line feed.
class FrameReader {
public:
    struct Frame {
        // May be empty: an empty line, a zero-length frame.
        std::string message;
        // The input ended or failed; message is empty. In Chrome framing the
        // prefix came short, so no length is left to trust.
        bool inputOver = false;
        // With inputOver: the input is at its end (rather than a read error).
        bool atEof = false;
        // Chrome framing: the bytes a frame cut short by the end of input lacked;
        // message holds those that came.
        uint32_t missing = 0;
    };

    // bigEndian is asked on each complete prefix, so that its answer (and any
    // log line it writes) comes only once a frame does.
    FrameReader(FILE* input, bool chromeFraming, std::function<bool()> bigEndian);

    Frame next();

private:
    Frame nextChromeFrame();
    Frame nextLine();

    FILE* m_pInput;
    bool m_chromeFraming;
    std::function<bool()> m_bigEndian;
    // Kept across frames, like the length it holds.
    unsigned char m_prefix[4] = {0, 0, 0, 0};
};

}  // namespace tessel
