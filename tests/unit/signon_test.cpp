// The pieces of single sign-on that need no provider: PKCE values, ID token
// checks against keys made here, the provisioning service's answers and the
// HTTP client's refusals and encodings.
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>

#include "../../src/zepwrapper/src/HttpClient.h"
#include "../../src/zepwrapper/src/IdToken.h"
#include "../../src/zepwrapper/src/Pkce.h"
#include "../../src/zepwrapper/src/Provisioning.h"

using tessel::zep::HttpClient;
using tessel::zep::IdToken;
using tessel::zep::Pkce;
using tessel::zep::Provisioning;

namespace {

TEST(PkceTest, VerifiersAreFreshAndTheChallengeIsTheirS256) {
    const std::string a = Pkce::randomToken(48);
    const std::string b = Pkce::randomToken(48);
    EXPECT_EQ(a.size(), 64u);  // 48 bytes, base64url without padding
    EXPECT_NE(a, b);
    EXPECT_EQ(a.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
              std::string::npos);
    // The example of RFC 7636, appendix B.
    EXPECT_EQ(Pkce::challenge("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"),
              "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");

    for (const std::string& bytes : {std::string(""), std::string("f"), std::string("fo"), std::string("foo"),
                                     std::string("\xff\xfe\x00\x01", 4)}) {
        std::string back;
        ASSERT_TRUE(Pkce::base64UrlDecode(Pkce::base64UrlEncode(bytes), back));
        EXPECT_EQ(back, bytes);
    }
    std::string out;
    EXPECT_FALSE(Pkce::base64UrlDecode("a+b/", out)) << "the standard alphabet is not base64url";
    EXPECT_FALSE(Pkce::base64UrlDecode("abcde", out)) << "impossible length";
}

// Keys and signed tokens made here, so every check can be broken on purpose.
class IdTokenTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_rsa = EVP_RSA_gen(2048);
        m_ec = EVP_EC_gen("P-256");
        ASSERT_NE(m_rsa, nullptr);
        ASSERT_NE(m_ec, nullptr);
        m_expected.issuer = "https://idp.test/oidc";
        m_expected.audience = "pela-host";
        m_expected.nonce = "n-123";
        m_expected.now = 1800000000;
    }
    void TearDown() override {
        EVP_PKEY_free(m_rsa);
        EVP_PKEY_free(m_ec);
    }

    static std::string bigEndian(EVP_PKEY* key, const char* name) {
        BIGNUM* bn = nullptr;
        EVP_PKEY_get_bn_param(key, name, &bn);
        std::string out(static_cast<size_t>(BN_num_bytes(bn)), '\0');
        BN_bn2bin(bn, reinterpret_cast<unsigned char*>(&out[0]));
        BN_free(bn);
        return out;
    }

    std::string jwks() const {
        unsigned char point[65];
        size_t length = 0;
        EVP_PKEY_get_octet_string_param(m_ec, OSSL_PKEY_PARAM_PUB_KEY, point, sizeof point, &length);
        const std::string raw(reinterpret_cast<char*>(point), length);
        return "{\"keys\":[{\"kty\":\"RSA\",\"kid\":\"r1\",\"use\":\"sig\",\"n\":\"" +
               Pkce::base64UrlEncode(bigEndian(m_rsa, OSSL_PKEY_PARAM_RSA_N)) + "\",\"e\":\"" +
               Pkce::base64UrlEncode(bigEndian(m_rsa, OSSL_PKEY_PARAM_RSA_E)) +
               "\"},{\"kty\":\"EC\",\"kid\":\"e1\",\"crv\":\"P-256\",\"x\":\"" +
               Pkce::base64UrlEncode(raw.substr(1, 32)) + "\",\"y\":\"" + Pkce::base64UrlEncode(raw.substr(33, 32)) +
               "\"}]}";
    }

    std::string claims(const std::string& iss, const std::string& aud, long long exp, const std::string& nonce) const {
        return "{\"iss\":\"" + iss + "\",\"sub\":\"dave\",\"aud\":" + aud + ",\"exp\":" + std::to_string(exp) +
               ",\"iat\":1799999000,\"nonce\":\"" + nonce + "\",\"email\":\"dave@sip.test\"}";
    }
    std::string goodClaims() const { return claims(m_expected.issuer, "\"pela-host\"", 1800000600, "n-123"); }

    // header.payload signed with the RSA (RS256) or EC (ES256, r||s) key.
    std::string sign(const std::string& alg, const std::string& kid, const std::string& payload) const {
        const std::string input = Pkce::base64UrlEncode("{\"alg\":\"" + alg + "\",\"kid\":\"" + kid + "\"}") + "." +
                                  Pkce::base64UrlEncode(payload);
        EVP_PKEY* key = alg == "ES256" ? m_ec : m_rsa;
        EVP_MD_CTX* ctx = EVP_MD_CTX_new();
        size_t length = 0;
        EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key);
        EVP_DigestSign(ctx, nullptr, &length, reinterpret_cast<const unsigned char*>(input.data()), input.size());
        std::string signature(length, '\0');
        EVP_DigestSign(ctx, reinterpret_cast<unsigned char*>(&signature[0]), &length,
                       reinterpret_cast<const unsigned char*>(input.data()), input.size());
        EVP_MD_CTX_free(ctx);
        signature.resize(length);
        if (alg == "ES256") {
            const unsigned char* p = reinterpret_cast<const unsigned char*>(signature.data());
            ECDSA_SIG* sig = d2i_ECDSA_SIG(nullptr, &p, static_cast<long>(signature.size()));
            unsigned char rs[64];
            BN_bn2binpad(ECDSA_SIG_get0_r(sig), rs, 32);
            BN_bn2binpad(ECDSA_SIG_get0_s(sig), rs + 32, 32);
            ECDSA_SIG_free(sig);
            signature.assign(reinterpret_cast<char*>(rs), 64);
        }
        return input + "." + Pkce::base64UrlEncode(signature);
    }

    IdToken::Result check(const std::string& token, IdToken::Claims* out = nullptr) {
        IdToken::Claims claims;
        std::string kid;
        const IdToken::Result result = IdToken::verify(token, jwks(), m_expected, claims, kid);
        if (out != nullptr) *out = claims;
        return result;
    }

    EVP_PKEY* m_rsa = nullptr;
    EVP_PKEY* m_ec = nullptr;
    IdToken::Expected m_expected;
};

TEST_F(IdTokenTest, ASignedTokenForUsIsValid) {
    IdToken::Claims got;
    EXPECT_EQ(check(sign("RS256", "r1", goodClaims()), &got), IdToken::Result::Valid);
    EXPECT_EQ(got.email, "dave@sip.test");
    EXPECT_EQ(got.subject, "dave");
    EXPECT_EQ(check(sign("ES256", "e1", goodClaims())), IdToken::Result::Valid);
    // Several audiences, ours among them.
    EXPECT_EQ(check(sign("RS256", "r1", claims(m_expected.issuer, "[\"other\",\"pela-host\"]", 1800000600, "n-123"))),
              IdToken::Result::Valid);
}

TEST_F(IdTokenTest, NothingIsTrustedBeforeTheSignature) {
    const std::string token = sign("RS256", "r1", goodClaims());
    // Another payload under the same signature.
    const size_t dot = token.find('.');
    const std::string forged = token.substr(0, dot + 1) +
                               Pkce::base64UrlEncode(claims(m_expected.issuer, "\"pela-host\"", 1900000000, "n-123")) +
                               token.substr(token.rfind('.'));
    EXPECT_EQ(check(forged), IdToken::Result::BadSignature);
    // "none", or an algorithm the key was not made for.
    EXPECT_EQ(check(Pkce::base64UrlEncode("{\"alg\":\"none\"}") + "." + Pkce::base64UrlEncode(goodClaims()) + "."),
              IdToken::Result::BadSignature);
    EXPECT_EQ(check(sign("HS256", "r1", goodClaims())), IdToken::Result::BadSignature);
    EXPECT_EQ(check(sign("RS256", "gone", goodClaims())), IdToken::Result::UnknownKey);
    for (const std::string& junk :
         {std::string(""), std::string("a.b"), std::string("a.b.c.d"), std::string("%.%.%")}) {
        EXPECT_EQ(check(junk), IdToken::Result::Malformed) << junk;
    }
}

TEST_F(IdTokenTest, ClaimsMustBeOurs) {
    EXPECT_EQ(check(sign("RS256", "r1", claims("https://evil.test", "\"pela-host\"", 1800000600, "n-123"))),
              IdToken::Result::WrongIssuer);
    EXPECT_EQ(check(sign("RS256", "r1", claims(m_expected.issuer, "\"other\"", 1800000600, "n-123"))),
              IdToken::Result::WrongAudience);
    EXPECT_EQ(check(sign("RS256", "r1", claims(m_expected.issuer, "\"pela-host\"", 1800000600, "n-999"))),
              IdToken::Result::WrongNonce);
    // Expired beyond the minute of clock skew allowed; within it still valid.
    EXPECT_EQ(check(sign("RS256", "r1", claims(m_expected.issuer, "\"pela-host\"", 1799999900, "n-123"))),
              IdToken::Result::Expired);
    EXPECT_EQ(check(sign("RS256", "r1", claims(m_expected.issuer, "\"pela-host\"", 1799999970, "n-123"))),
              IdToken::Result::Valid);
}

TEST(ProvisioningTest, AnswersAreCheckedAndServerEntriesNormalised) {
    EXPECT_EQ(Provisioning::baseUrl("127.0.0.1:8443"), "https://127.0.0.1:8443");
    EXPECT_EQ(Provisioning::baseUrl("https://prov.example.com/base/"), "https://prov.example.com/base");
    for (const char* bad : {"", "http://x", "https://user@x", "x y", "https://x/?q=1"}) {
        EXPECT_EQ(Provisioning::baseUrl(bad), "") << bad;
    }

    Provisioning::DomainSettings settings;
    std::string error;
    ASSERT_TRUE(
        Provisioning::parseDomainSettings("{\"signIn\":\"oidc\",\"issuer\":\"https://idp/"
                                          "oidc\",\"clientId\":\"c\",\"redirectUri\":\"http://127.0.0.1/d\","
                                          "\"scopes\":\"email\",\"registrars\":[\"a:5060\",\"b:5061;transport=tls\"]}",
                                          settings, error))
        << error;
    EXPECT_EQ(settings.registrars.size(), 2u);
    EXPECT_EQ(settings.scopes, "openid email") << "openid is always asked for";
    EXPECT_FALSE(
        Provisioning::parseDomainSettings("{\"signIn\":\"oidc\",\"issuer\":\"http://idp\",\"clientId\":\"c\","
                                          "\"redirectUri\":\"r\"}",
                                          settings, error))
        << "an issuer without TLS";
    EXPECT_FALSE(Provisioning::parseDomainSettings("{\"signIn\":\"magic\"}", settings, error));
    EXPECT_FALSE(Provisioning::parseDomainSettings("<html>", settings, error));
    EXPECT_TRUE(Provisioning::parseDomainSettings("{}", settings, error));
    EXPECT_EQ(settings.signIn, "password");

    Provisioning::SipCredentials credentials;
    EXPECT_TRUE(Provisioning::parseSipCredentials(
        "{\"user\":\"dave\",\"domain\":\"sip.test\",\"username\":\"1:dave\",\"password\":\"p\",\"expiresIn\":60}",
        credentials, error));
    EXPECT_EQ(credentials.expiresIn, 60);
    EXPECT_FALSE(Provisioning::parseSipCredentials(
        "{\"user\":\"dave\",\"domain\":\"sip.test\",\"username\":\"1:dave\",\"password\":\"p\",\"expiresIn\":\"soon\"}",
        credentials, error));
    EXPECT_FALSE(Provisioning::parseSipCredentials("{\"user\":\"dave\",\"expiresIn\":60}", credentials, error));
}

TEST(HttpClientTest, OnlyHttpsAndAnswersComeFromThePump) {
    HttpClient http;
    bool called = false;
    HttpClient::Response got;
    HttpClient::Request plain;
    plain.url = "http://127.0.0.1:9/";
    http.send(plain, [&](const HttpClient::Response& r) {
        called = true;
        got = r;
    });
    EXPECT_FALSE(called) << "never from inside send()";
    http.pump();
    EXPECT_TRUE(called);
    EXPECT_EQ(got.status, 0);
    EXPECT_NE(got.error.find("https"), std::string::npos);

    // A port nobody listens on: an error, and a cancelled request is never answered.
    HttpClient::Request closed;
    closed.url = "https://127.0.0.1:9/";
    called = false;
    http.send(closed, [&](const HttpClient::Response& r) {
        called = true;
        got = r;
    });
    const unsigned dropped = http.send(closed, [&](const HttpClient::Response&) { ADD_FAILURE() << "cancelled"; });
    http.cancel(dropped);
    for (int i = 0; i < 500 && http.busy(); ++i) {
        http.pump();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(called);
    EXPECT_EQ(got.status, 0);
    EXPECT_FALSE(got.error.empty());

    EXPECT_EQ(HttpClient::formEncode({{"a b", "x&y=z"}, {"s", "é"}}), "a%20b=x%26y%3Dz&s=%C3%A9");
    EXPECT_EQ(HttpClient::percentDecode("a%20b+c%2"), "a b c%2");
}

}  // namespace
