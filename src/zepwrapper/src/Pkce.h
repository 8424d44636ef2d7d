#pragma once

#include <string>

namespace tessel {
namespace zep {

// Proof key for the code exchange (S256) and the other one-time values of
// a sign-in through a provider, and the base64url form they travel in.
class Pkce {
public:
    // base64url (no padding) of `bytes` random bytes from the system's
    // generator; "" if it fails.
    static std::string randomToken(size_t bytes = 32);
    // The S256 challenge of a verifier: base64url(SHA-256(verifier)).
    static std::string challenge(const std::string& verifier);

    static std::string base64UrlEncode(const std::string& bytes);
    // false on characters outside the alphabet or an impossible length.
    static bool base64UrlDecode(const std::string& text, std::string& bytes);
};

}  // namespace zep
}  // namespace tessel
