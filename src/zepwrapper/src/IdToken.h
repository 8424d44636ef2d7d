#pragma once

#include <cstdint>
#include <string>

namespace tessel {
namespace zep {

// Checks an OpenID Connect ID token (a signed JWT): its signature against
// the provider's published keys (a JWK set; RS256 and ES256), then the
// claims the sign-in depends on. Nothing is trusted before the signature.
class IdToken {
public:
    struct Expected {
        std::string issuer;
        std::string audience;  // the client id
        std::string nonce;
        int64_t now = 0;      // unix seconds
        int64_t leeway = 60;  // clock skew allowed, seconds
    };
    struct Claims {
        std::string subject;
        std::string email;
        int64_t expiresAt = 0;
    };
    enum class Result { Valid, Malformed, UnknownKey, BadSignature, WrongIssuer, WrongAudience, Expired, WrongNonce };

    // keyId is the token's "kid" (to fetch the keys again when unknown).
    static Result verify(const std::string& token, const std::string& jwks, const Expected& expected, Claims& claims,
                         std::string& keyId);
    static const char* describe(Result result);
};

}  // namespace zep
}  // namespace tessel
