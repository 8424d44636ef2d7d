#include "TestCertificates.h"

#include <memory>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace tessel {
namespace test {

namespace {

struct Free {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
    void operator()(X509* p) const { X509_free(p); }
    void operator()(BIO* p) const { BIO_free(p); }
    void operator()(X509_EXTENSION* p) const { X509_EXTENSION_free(p); }
};

std::string bioText(BIO* bio) {
    char* data = nullptr;
    const long n = BIO_get_mem_data(bio, &data);
    return n > 0 ? std::string(data, static_cast<size_t>(n)) : std::string();
}

bool addExtension(X509* cert, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, issuer, cert, nullptr, nullptr, 0);
    std::unique_ptr<X509_EXTENSION, Free> ext(X509V3_EXT_conf_nid(nullptr, &ctx, nid, value.c_str()));
    return ext && X509_add_ext(cert, ext.get(), -1) == 1;
}

}  // namespace

TestCertificate makeCertificate(const CertificateShape& shape, const TestCertificate* issuer) {
    TestCertificate out;
    std::unique_ptr<EVP_PKEY, Free> key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    std::unique_ptr<X509, Free> cert(X509_new());
    if (!key || !cert) return out;

    std::unique_ptr<EVP_PKEY, Free> issuerKey;
    std::unique_ptr<X509, Free> issuerCert;
    if (issuer != nullptr) {
        std::unique_ptr<BIO, Free> keyBio(
            BIO_new_mem_buf(issuer->keyPem.data(), static_cast<int>(issuer->keyPem.size())));
        std::unique_ptr<BIO, Free> certBio(
            BIO_new_mem_buf(issuer->certPem.data(), static_cast<int>(issuer->certPem.size())));
        issuerKey.reset(PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr));
        issuerCert.reset(PEM_read_bio_X509(certBio.get(), nullptr, nullptr, nullptr));
        if (!issuerKey || !issuerCert) return out;
    }

    static long serial = 1000;
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), shape.validFromSeconds);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), shape.validToSeconds);
    X509_set_pubkey(cert.get(), key.get());
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("Pela tests"), -1, -1,
                               0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(shape.commonName.c_str()), -1, -1, 0);
    X509* signer = issuerCert ? issuerCert.get() : cert.get();
    X509_set_issuer_name(cert.get(), X509_get_subject_name(signer));

    bool ok = true;
    if (shape.authority) {
        ok = ok && addExtension(cert.get(), signer, NID_basic_constraints, "critical,CA:TRUE");
        ok = ok && addExtension(cert.get(), signer, NID_key_usage, "critical,keyCertSign,cRLSign");
    } else {
        ok = ok && addExtension(cert.get(), signer, NID_basic_constraints, "CA:FALSE");
        ok = ok && addExtension(cert.get(), signer, NID_key_usage, "critical,digitalSignature");
        ok = ok && addExtension(cert.get(), signer, NID_ext_key_usage, "serverAuth");
    }
    ok = ok && addExtension(cert.get(), signer, NID_subject_key_identifier, "hash");
    if (!shape.dnsNames.empty()) {
        std::string names;
        for (const std::string& dns : shape.dnsNames) names += (names.empty() ? "DNS:" : ",DNS:") + dns;
        ok = ok && addExtension(cert.get(), signer, NID_subject_alt_name, names);
    }
    EVP_PKEY* signingKey = issuerKey ? issuerKey.get() : key.get();
    if (!ok || X509_sign(cert.get(), signingKey, EVP_sha256()) <= 0) return out;

    std::unique_ptr<BIO, Free> certOut(BIO_new(BIO_s_mem()));
    std::unique_ptr<BIO, Free> keyOut(BIO_new(BIO_s_mem()));
    if (PEM_write_bio_X509(certOut.get(), cert.get()) != 1 ||
        PEM_write_bio_PrivateKey(keyOut.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        return out;
    }
    unsigned char* der = nullptr;
    const int derLength = i2d_X509(cert.get(), &der);
    if (derLength <= 0) return out;
    out.der.assign(der, der + derLength);
    OPENSSL_free(der);

    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    X509_digest(cert.get(), EVP_sha256(), digest, &size);
    static const char kHex[] = "0123456789ABCDEF";
    for (unsigned int i = 0; i < size; ++i) {
        if (i != 0) out.fingerprint += ':';
        out.fingerprint += kHex[digest[i] >> 4];
        out.fingerprint += kHex[digest[i] & 0xf];
    }
    out.certPem = bioText(certOut.get());
    out.keyPem = bioText(keyOut.get());
    return out;
}

}  // namespace test
}  // namespace tessel
