// The framework's TLS check of registrars' certificates (ServerCertificates):
// the hook's decisions for chains as the TLS library hands them over, the
// reasons' words, the fingerprint and PEM forms, and the trust file.
#include "../../src/zepwrapper/src/ServerCertificates.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include "HostProcess.h"
#include "TestCertificates.h"

using tessel::test::CertificateShape;
using tessel::test::makeCertificate;
using tessel::test::TestCertificate;
using tessel::zep::CertificateReport;
using tessel::zep::ServerCertificates;

namespace {

// bctoolbox's flag values (BCTBX_CERTIFICATE_VERIFY_*), as the framework reports them.
const uint32_t kExpired = 0x01;
const uint32_t kRevoked = 0x02;
const uint32_t kNameMismatch = 0x04;
const uint32_t kNotTrusted = 0x08;
const uint32_t kFuture = 0x0200;

class ServerCertificatesTest : public ::testing::Test {
protected:
    void SetUp() override {
        certs.forgetForTests();
        certs.endAttempts();
    }
    void TearDown() override {
        certs.endAttempts();
        certs.forgetForTests();
    }

    // One handshake's verification as the TLS library runs it: the chain from
    // its top down to the server's certificate. The flags after the hook.
    std::vector<uint32_t> handshake(const std::vector<std::pair<const TestCertificate*, uint32_t>>& chainTopFirst) {
        std::vector<uint32_t> out;
        int depth = static_cast<int>(chainTopFirst.size()) - 1;
        for (const auto& link : chainTopFirst) {
            uint32_t flags = ServerCertificates::libraryFlags(link.second);
            EXPECT_EQ(certs.verify(link.first->der.data(), static_cast<int>(link.first->der.size()), depth--, &flags),
                      0);
            out.push_back(flags);
        }
        return out;
    }

    pelatest::PrivateHome home;
    ServerCertificates& certs = ServerCertificates::instance();
    TestCertificate self = makeCertificate({"sip.example", {"sip.example"}});
    TestCertificate ca = makeCertificate({"Pela Test CA", {}, -3600, 3600 * 24, true});
    TestCertificate leaf = makeCertificate({"sip.example", {"sip.example"}}, &ca);
};

}  // namespace

TEST_F(ServerCertificatesTest, ReasonsAreWordsOnePerFlag) {
    EXPECT_EQ(ServerCertificates::reasons(0), std::vector<std::string>{});
    EXPECT_EQ(ServerCertificates::reasons(kNotTrusted), std::vector<std::string>{"not trusted"});
    EXPECT_EQ(ServerCertificates::reasons(kExpired | kNameMismatch | kNotTrusted | kFuture | kRevoked),
              (std::vector<std::string>{"expired", "revoked", "name mismatch", "not trusted", "not yet valid"}));
    // A bit without a word of its own is "other", once.
    EXPECT_EQ(ServerCertificates::reasons(0x80000000u | 0x0100), std::vector<std::string>{"other"});
    EXPECT_TRUE(ServerCertificates::acceptable(kNotTrusted | kExpired | kNameMismatch));
    EXPECT_FALSE(ServerCertificates::acceptable(kRevoked | kNotTrusted));
}

TEST_F(ServerCertificatesTest, FingerprintPemAndCommonName) {
    ASSERT_FALSE(self.der.empty());
    const std::string fp = ServerCertificates::fingerprint(self.der.data(), self.der.size());
    EXPECT_EQ(fp, self.fingerprint);
    EXPECT_EQ(fp.size(), 95u);  // 32 bytes: 64 upper-case hex digits and 31 colons
    std::string lower = fp;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_TRUE(ServerCertificates::sameFingerprint(fp, lower));
    EXPECT_FALSE(ServerCertificates::sameFingerprint("", ""));

    const std::string pem = ServerCertificates::pem(self.der.data(), self.der.size());
    EXPECT_EQ(pem.rfind("-----BEGIN CERTIFICATE-----\n", 0), 0u);
    std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), &BIO_free);
    X509* parsed = PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr);
    ASSERT_NE(parsed, nullptr);
    unsigned char* der = nullptr;
    const int n = i2d_X509(parsed, &der);
    EXPECT_EQ(std::vector<unsigned char>(der, der + n), self.der);
    OPENSSL_free(der);
    X509_free(parsed);

    EXPECT_EQ(ServerCertificates::subjectCN(self.der.data(), self.der.size()), "sip.example");
    EXPECT_EQ(ServerCertificates::subjectCN(ca.der.data(), ca.der.size()), "Pela Test CA");
    const unsigned char junk[] = {1, 2, 3};
    EXPECT_EQ(ServerCertificates::subjectCN(junk, sizeof junk), "");
}

TEST_F(ServerCertificatesTest, OutsideAnAttemptTheVerdictStands) {
    EXPECT_EQ(handshake({{&ca, kNotTrusted}, {&leaf, 0}}),
              (std::vector<uint32_t>{ServerCertificates::libraryFlags(kNotTrusted), 0}));
    CertificateReport report;
    EXPECT_FALSE(certs.takeFailure(1, report));
}

TEST_F(ServerCertificatesTest, AFailedChainIsReportedForItsAttemptOnce) {
    const unsigned first = certs.beginAttempt("sip.example");
    // Unknown authority: "not trusted" on the authority (depth 1) ends up on
    // the server's certificate, so the handshake still fails.
    EXPECT_EQ(handshake({{&ca, kNotTrusted}, {&leaf, 0}}),
              (std::vector<uint32_t>{0, ServerCertificates::libraryFlags(kNotTrusted)}));
    CertificateReport report;
    EXPECT_FALSE(certs.takeFailure(first + 1, report));
    ASSERT_TRUE(certs.takeFailure(first, report));
    EXPECT_FALSE(certs.takeFailure(first, report));
    EXPECT_EQ(report.host, "sip.example");
    EXPECT_EQ(report.fingerprint, leaf.fingerprint);
    EXPECT_EQ(report.subjectCN, "sip.example");
    EXPECT_EQ(report.flags, kNotTrusted);
    EXPECT_EQ(report.pem, ServerCertificates::pem(leaf.der.data(), leaf.der.size()));
    ASSERT_EQ(report.chainPem.size(), 1u);
    EXPECT_EQ(report.chainPem[0], ServerCertificates::pem(ca.der.data(), ca.der.size()));
    EXPECT_EQ(report.chainFingerprints, std::vector<std::string>{ca.fingerprint});

    // A chain the system's authorities vouch for is left alone and not reported.
    const unsigned second = certs.beginAttempt("sip.example");
    EXPECT_EQ(handshake({{&ca, 0}, {&leaf, 0}}), (std::vector<uint32_t>{0, 0}));
    EXPECT_FALSE(certs.takeFailure(second, report));
}

TEST_F(ServerCertificatesTest, OnlyTheAcceptedCertificateForItsHostWithTheSeenReasonsPasses) {
    CertificateReport report;
    unsigned attempt = certs.beginAttempt("sip.example");
    handshake({{&ca, kNotTrusted}, {&leaf, 0}});
    ASSERT_TRUE(certs.takeFailure(attempt, report));
    std::string error;
    ASSERT_TRUE(certs.trust(report, false, error)) << error;

    // The same chain now passes: every flag of the chain cleared.
    attempt = certs.beginAttempt("sip.example");
    EXPECT_EQ(handshake({{&ca, kNotTrusted}, {&leaf, 0}}), (std::vector<uint32_t>{0, 0}));
    EXPECT_FALSE(certs.takeFailure(attempt, report));

    const uint32_t notTrusted = ServerCertificates::libraryFlags(kNotTrusted);
    // Another server certificate from the same authority: asked about again.
    TestCertificate rotated = makeCertificate({"sip.example", {"sip.example"}}, &ca);
    attempt = certs.beginAttempt("sip.example");
    EXPECT_EQ(handshake({{&ca, kNotTrusted}, {&rotated, 0}}), (std::vector<uint32_t>{0, notTrusted}));
    EXPECT_TRUE(certs.takeFailure(attempt, report));
    // The accepted certificate shown by another host.
    attempt = certs.beginAttempt("other.example");
    EXPECT_EQ(handshake({{&ca, kNotTrusted}, {&leaf, 0}}), (std::vector<uint32_t>{0, notTrusted}));
    EXPECT_TRUE(certs.takeFailure(attempt, report));
    // A reason the user did not see (it has expired since).
    attempt = certs.beginAttempt("sip.example");
    EXPECT_EQ(handshake({{&ca, kNotTrusted}, {&leaf, kExpired}}),
              (std::vector<uint32_t>{0, ServerCertificates::libraryFlags(kNotTrusted | kExpired)}));
    ASSERT_TRUE(certs.takeFailure(attempt, report));
    EXPECT_EQ(report.flags, kNotTrusted | kExpired);
    // Not kept: gone once memory is.
    certs.forgetForTests();
    EXPECT_FALSE(certs.trusted("sip.example", leaf.fingerprint, kNotTrusted));
}

TEST_F(ServerCertificatesTest, RevokedIsNeverTrusted) {
    const unsigned attempt = certs.beginAttempt("sip.example");
    handshake({{&self, kNotTrusted | kRevoked}});
    CertificateReport report;
    ASSERT_TRUE(certs.takeFailure(attempt, report));
    std::string error;
    certs.trust(report, false, error);
    EXPECT_FALSE(certs.trusted("sip.example", self.fingerprint, kNotTrusted | kRevoked));
    certs.beginAttempt("sip.example");
    EXPECT_EQ(handshake({{&self, kNotTrusted | kRevoked}}),
              std::vector<uint32_t>{ServerCertificates::libraryFlags(kNotTrusted | kRevoked)});
}

TEST_F(ServerCertificatesTest, KeptDecisionsAreInAPrivateFileReadBack) {
    const unsigned attempt = certs.beginAttempt("sip.example");
    handshake({{&self, kNotTrusted | kNameMismatch}});
    CertificateReport report;
    ASSERT_TRUE(certs.takeFailure(attempt, report));
    std::string error;
    ASSERT_TRUE(certs.trust(report, true, error)) << error;

    const std::string path = ServerCertificates::trustFilePath(error);
    EXPECT_EQ(path, home.root() + "/config/com.norva.Tollbridge/trusted-certificates");
    EXPECT_EQ(pelatest::modeOf(path), 0600u);
    const std::string text = pelatest::readFile(path);
    EXPECT_NE(text.find("sip.example " + self.fingerprint + " name mismatch, not trusted\n"), std::string::npos)
        << text;
    EXPECT_EQ(text.find("PRIVATE"), std::string::npos);

    // Another process's view: memory forgotten, the file read again, and a
    // damaged line next to it ignored.
    {
        std::string all = text + "garbage line\nsip.example 00:11 not trusted\n";
        FILE* f = fopen(path.c_str(), "w");
        ASSERT_NE(f, nullptr);
        fputs(all.c_str(), f);
        fclose(f);
    }
    certs.forgetForTests();
    EXPECT_TRUE(certs.trusted("sip.example", self.fingerprint, kNotTrusted | kNameMismatch));
    EXPECT_TRUE(certs.trusted("SIP.example", self.fingerprint, kNotTrusted));
    EXPECT_FALSE(certs.trusted("sip.example", self.fingerprint, kNotTrusted | kExpired));
    EXPECT_FALSE(certs.trusted("sip.example", leaf.fingerprint, kNotTrusted));

    // A second acceptance keeps the first.
    const unsigned next = certs.beginAttempt("sip.example");
    handshake({{&ca, kNotTrusted}, {&leaf, 0}});
    ASSERT_TRUE(certs.takeFailure(next, report));
    ASSERT_TRUE(certs.trust(report, true, error)) << error;
    certs.forgetForTests();
    EXPECT_TRUE(certs.trusted("sip.example", self.fingerprint, kNotTrusted));
    EXPECT_TRUE(certs.trusted("sip.example", leaf.fingerprint, kNotTrusted));
    EXPECT_EQ(pelatest::modeOf(path), 0600u);
}
