#pragma once

#include <string>
#include <vector>

namespace tessel {
namespace test {

// Certificates for TLS tests, made with OpenSSL (P-256 keys, SHA-256
// signatures). Test keys only: they live in test folders and are never logged.
struct TestCertificate {
    std::string certPem;
    std::string keyPem;
    std::vector<unsigned char> der;
    // SHA-256 of the DER, upper-case hex pairs joined by ":", computed here
    // independently of the framework.
    std::string fingerprint;
};

struct CertificateShape {
    std::string commonName;
    std::vector<std::string> dnsNames;      // subjectAltName DNS entries
    long validFromSeconds = -3600;          // notBefore, relative to now
    long validToSeconds = 30L * 24 * 3600;  // notAfter, relative to now
    bool authority = false;                 // basicConstraints CA:TRUE, keyCertSign
};

// Signed by issuer, or self-signed when issuer is null. An empty result
// (certPem "") when OpenSSL fails.
TestCertificate makeCertificate(const CertificateShape& shape, const TestCertificate* issuer = nullptr);

}  // namespace test
}  // namespace tessel
