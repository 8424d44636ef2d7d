#pragma once

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>

#include "messages/Ptree.h"

// Shared by the JSON targets: reading what the host writes as a page does.

namespace pelafuzz {

using tessel::Ptree;

// The length of the well-formed UTF-8 sequence at text[i], 0 if none starts there.
inline size_t utf8SequenceAt(const std::string& text, size_t i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    const size_t n = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
    if (n == 0 || i + n > text.size()) return 0;
    uint32_t cp = n == 1 ? c : c & (0x7F >> n);
    for (size_t k = 1; k < n; ++k) {
        const unsigned char cc = static_cast<unsigned char>(text[i + k]);
        if ((cc >> 6) != 0x2) return 0;
        cp = (cp << 6) | (cc & 0x3F);
    }
    const uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < least[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    return n;
}

// The host writes U+0080..U+00FF of escaped text as one Latin-1 byte, and the
// page reads such a byte as that character. The JSON reader wants UTF-8, so
// those bytes become UTF-8 first; everything else is left as written.
inline std::string asPageReads(const std::string& written) {
    std::string out;
    out.reserve(written.size());
    for (size_t i = 0; i < written.size();) {
        const size_t n = utf8SequenceAt(written, i);
        if (n > 0) {
            out.append(written, i, n);
            i += n;
        } else {
            const unsigned char b = static_cast<unsigned char>(written[i++]);
            out += static_cast<char>(0xC0 | (b >> 6));
            out += static_cast<char>(0x80 | (b & 0x3F));
        }
    }
    return out;
}

inline bool readJson(const std::string& text, Ptree& out) {
    try {
        std::istringstream in(text);
        boost::property_tree::read_json(in, out);
        return true;
    } catch (const boost::property_tree::json_parser_error&) {
        return false;
    }
}

// Reads what the host wrote as the page would; false if it is not JSON. The
// newline framing takes line feeds and tabs out of a message, so the text
// must mean the same without them.
inline bool readWritten(const std::string& written, Ptree& out, const char*& problem) {
    const std::string text = asPageReads(written);
    if (!readJson(text, out)) {
        problem = "written text is not JSON";
        return false;
    }
    std::string framed;
    for (char c : text) {
        if (c != '\n' && c != '\t') framed += c;
    }
    Ptree reframed;
    if (!readJson(framed, reframed) || reframed != out) {
        problem = "newline framing changes the message";
        return false;
    }
    return true;
}

}  // namespace pelafuzz
