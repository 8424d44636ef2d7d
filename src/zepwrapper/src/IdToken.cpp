#include "IdToken.h"

#include <memory>

#include <boost/property_tree/ptree.hpp>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>

#include "JsonText.h"
#include "Pkce.h"

namespace tessel {
namespace zep {

namespace {
using boost::property_tree::ptree;

struct Free {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
    void operator()(EVP_PKEY_CTX* p) const { EVP_PKEY_CTX_free(p); }
    void operator()(EVP_MD_CTX* p) const { EVP_MD_CTX_free(p); }
    void operator()(OSSL_PARAM_BLD* p) const { OSSL_PARAM_BLD_free(p); }
    void operator()(OSSL_PARAM* p) const { OSSL_PARAM_free(p); }
    void operator()(BIGNUM* p) const { BN_free(p); }
    void operator()(ECDSA_SIG* p) const { ECDSA_SIG_free(p); }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

Owned<BIGNUM> bigNumber(const std::string& base64Url) {
    std::string bytes;
    if (!Pkce::base64UrlDecode(base64Url, bytes) || bytes.empty()) return nullptr;
    return Owned<BIGNUM>(
        BN_bin2bn(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()), nullptr));
}

Owned<EVP_PKEY> fromParams(const char* type, OSSL_PARAM_BLD* builder) {
    Owned<OSSL_PARAM> params(OSSL_PARAM_BLD_to_param(builder));
    Owned<EVP_PKEY_CTX> ctx(EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr));
    EVP_PKEY* key = nullptr;
    if (!params || !ctx || EVP_PKEY_fromdata_init(ctx.get()) != 1 ||
        EVP_PKEY_fromdata(ctx.get(), &key, EVP_PKEY_PUBLIC_KEY, params.get()) != 1) {
        return nullptr;
    }
    return Owned<EVP_PKEY>(key);
}

Owned<EVP_PKEY> rsaKey(const ptree& jwk) {
    Owned<BIGNUM> n = bigNumber(jwk.get<std::string>("n", ""));
    Owned<BIGNUM> e = bigNumber(jwk.get<std::string>("e", ""));
    Owned<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new());
    if (!n || !e || !builder || OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, n.get()) != 1 ||
        OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, e.get()) != 1) {
        return nullptr;
    }
    return fromParams("RSA", builder.get());
}

Owned<EVP_PKEY> p256Key(const ptree& jwk) {
    std::string x;
    std::string y;
    if (jwk.get<std::string>("crv", "") != "P-256" || !Pkce::base64UrlDecode(jwk.get<std::string>("x", ""), x) ||
        !Pkce::base64UrlDecode(jwk.get<std::string>("y", ""), y) || x.size() != 32 || y.size() != 32) {
        return nullptr;
    }
    const std::string point = std::string(1, '\x04') + x + y;
    Owned<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new());
    if (!builder || OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, "prime256v1", 0) != 1 ||
        OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size()) != 1) {
        return nullptr;
    }
    return fromParams("EC", builder.get());
}

// An ES256 signature is r||s; OpenSSL checks the DER form.
bool toDer(const std::string& raw, std::string& der) {
    if (raw.size() != 64) return false;
    Owned<ECDSA_SIG> sig(ECDSA_SIG_new());
    BIGNUM* r = BN_bin2bn(reinterpret_cast<const unsigned char*>(raw.data()), 32, nullptr);
    BIGNUM* s = BN_bin2bn(reinterpret_cast<const unsigned char*>(raw.data()) + 32, 32, nullptr);
    if (!sig || r == nullptr || s == nullptr || ECDSA_SIG_set0(sig.get(), r, s) != 1) {
        BN_free(r);
        BN_free(s);
        return false;
    }
    unsigned char* out = nullptr;
    const int length = i2d_ECDSA_SIG(sig.get(), &out);
    if (length <= 0) return false;
    der.assign(reinterpret_cast<char*>(out), static_cast<size_t>(length));
    OPENSSL_free(out);
    return true;
}

bool signatureHolds(EVP_PKEY* key, const std::string& input, const std::string& signature) {
    Owned<EVP_MD_CTX> ctx(EVP_MD_CTX_new());
    return ctx && EVP_DigestVerifyInit(ctx.get(), nullptr, EVP_sha256(), nullptr, key) == 1 &&
           EVP_DigestVerify(ctx.get(), reinterpret_cast<const unsigned char*>(signature.data()), signature.size(),
                            reinterpret_cast<const unsigned char*>(input.data()), input.size()) == 1;
}

}  // namespace

IdToken::Result IdToken::verify(const std::string& token, const std::string& jwks, const Expected& expected,
                                Claims& claims, std::string& keyId) {
    claims = Claims();
    keyId.clear();
    const size_t first = token.find('.');
    const size_t second = first == std::string::npos ? first : token.find('.', first + 1);
    if (second == std::string::npos || token.find('.', second + 1) != std::string::npos) return Result::Malformed;
    std::string headerText;
    std::string payloadText;
    std::string signature;
    ptree header;
    ptree payload;
    if (!Pkce::base64UrlDecode(token.substr(0, first), headerText) ||
        !Pkce::base64UrlDecode(token.substr(first + 1, second - first - 1), payloadText) ||
        !Pkce::base64UrlDecode(token.substr(second + 1), signature) || !parseJson(headerText, header) ||
        !parseJson(payloadText, payload)) {
        return Result::Malformed;
    }
    // The algorithm comes from our list, never from the token alone ("none" is refused).
    const std::string alg = header.get<std::string>("alg", "");
    const std::string kty = alg == "RS256" ? "RSA" : alg == "ES256" ? "EC" : "";
    if (kty.empty()) return Result::BadSignature;
    keyId = header.get<std::string>("kid", "");

    ptree keys;
    if (!parseJson(jwks, keys) || keys.get_child_optional("keys") == boost::none) return Result::UnknownKey;
    Owned<EVP_PKEY> key;
    for (const auto& entry : keys.get_child("keys")) {
        const ptree& jwk = entry.second;
        if (jwk.get<std::string>("kty", "") != kty) continue;
        if (!keyId.empty() && jwk.get<std::string>("kid", "") != keyId) continue;
        const std::string use = jwk.get<std::string>("use", "sig");
        if (use != "sig") continue;
        key = kty == "RSA" ? rsaKey(jwk) : p256Key(jwk);
        if (key) break;
    }
    if (!key) return Result::UnknownKey;
    if (alg == "ES256" && !toDer(std::string(signature), signature)) return Result::BadSignature;
    if (!signatureHolds(key.get(), token.substr(0, second), signature)) return Result::BadSignature;

    if (payload.get<std::string>("iss", "") != expected.issuer) return Result::WrongIssuer;
    bool audienceFound = payload.get<std::string>("aud", "") == expected.audience;
    if (!audienceFound && payload.get_child_optional("aud")) {
        for (const auto& a : payload.get_child("aud"))
            audienceFound = audienceFound || a.second.data() == expected.audience;
    }
    // With several audiences, the authorized party must be us.
    const std::string azp = payload.get<std::string>("azp", "");
    if (!audienceFound || (!azp.empty() && azp != expected.audience)) return Result::WrongAudience;
    const int64_t expiresAt = jsonInteger(payload, "exp", 0);
    if (expiresAt == 0 || expiresAt + expected.leeway < expected.now) return Result::Expired;
    if (payload.get<std::string>("nonce", "") != expected.nonce) return Result::WrongNonce;
    claims.subject = payload.get<std::string>("sub", "");
    claims.email = payload.get<std::string>("email", "");
    claims.expiresAt = expiresAt;
    return Result::Valid;
}

const char* IdToken::describe(Result result) {
    switch (result) {
        case Result::Valid:
            return "valid";
        case Result::Malformed:
            return "malformed ID token";
        case Result::UnknownKey:
            return "ID token signed with an unknown key";
        case Result::BadSignature:
            return "ID token signature does not hold";
        case Result::WrongIssuer:
            return "ID token from another issuer";
        case Result::WrongAudience:
            return "ID token for another client";
        case Result::Expired:
            return "ID token expired";
        case Result::WrongNonce:
            return "ID token nonce does not match";
    }
    return "invalid ID token";
}

}  // namespace zep
}  // namespace tessel
