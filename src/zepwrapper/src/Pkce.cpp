#include "Pkce.h"

#include <openssl/rand.h>
#include <openssl/sha.h>

namespace tessel {
namespace zep {

namespace {
const char* const kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

int valueOf(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '-') return 62;
    if (c == '_') return 63;
    return -1;
}
}  // namespace

std::string Pkce::randomToken(size_t bytes) {
    std::string raw(bytes, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(&raw[0]), static_cast<int>(bytes)) != 1) return std::string();
    return base64UrlEncode(raw);
}

std::string Pkce::challenge(const std::string& verifier) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(verifier.data()), verifier.size(), digest);
    return base64UrlEncode(std::string(reinterpret_cast<const char*>(digest), sizeof digest));
}

std::string Pkce::base64UrlEncode(const std::string& bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const unsigned v = (static_cast<unsigned char>(bytes[i]) << 16) |
                           (static_cast<unsigned char>(bytes[i + 1]) << 8) | static_cast<unsigned char>(bytes[i + 2]);
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += kAlphabet[v & 63];
    }
    const size_t rest = bytes.size() - i;
    if (rest > 0) {
        unsigned v = static_cast<unsigned char>(bytes[i]) << 16;
        if (rest == 2) v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        if (rest == 2) out += kAlphabet[(v >> 6) & 63];
    }
    return out;
}

bool Pkce::base64UrlDecode(const std::string& text, std::string& bytes) {
    bytes.clear();
    std::string input = text;
    // Padding is tolerated though JWTs never carry it.
    while (!input.empty() && input.back() == '=') input.pop_back();
    if (input.size() % 4 == 1) return false;
    unsigned buffer = 0;
    int bits = 0;
    for (char c : input) {
        const int v = valueOf(c);
        if (v < 0) return false;
        buffer = (buffer << 6) | static_cast<unsigned>(v);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes += static_cast<char>((buffer >> bits) & 0xff);
        }
    }
    return true;
}

}  // namespace zep
}  // namespace tessel
