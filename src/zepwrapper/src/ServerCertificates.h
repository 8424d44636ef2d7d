#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace tessel {
namespace zep {

// What the TLS check saw of one registrar's certificate chain that failed
// verification: the server's certificate (depth 0) and the rest of the chain
// it sent, with the reasons of the whole chain.
struct CertificateReport {
    unsigned attempt = 0;               // the registration attempt it belongs to
    std::string host;                   // the registrar's host name as the server list gives it
    std::string fingerprint;            // SHA-256 of the server's certificate (see ServerCertificates::fingerprint)
    std::string subjectCN;              // the server certificate's subject CN, "" when it has none
    uint32_t flags = 0;                 // the chain's reasons together, as bctoolbox's BCTBX_CERTIFICATE_VERIFY_* bits
    std::string pem;                    // the server's certificate, PEM
    std::vector<std::string> chainPem;  // the other certificates of the chain, depth 1 upwards, PEM
    std::vector<std::string> chainFingerprints;  // and their fingerprints, same order
};

// The check of registrars' TLS certificates and the user's decisions on the
// ones that fail it. Verification always stays on: the engine's TLS library
// checks every chain against the system's authorities and the host name, and
// this only ever clears its verdict for the exact server certificate the user
// accepted for that host, with no reason the user did not see.
//
// The hook (belle-sip's process-wide verify callback) runs on whichever
// thread iterates the engine, i.e. the framework's pumping thread, for every
// certificate of a chain from the top down to depth 0; the account manager
// reads its findings from the pump. Both sides meet under one mutex, so the
// hook may run on any thread. Process-wide, like the hook: one instance,
// never destroyed.
class ServerCertificates {
public:
    static ServerCertificates& instance();

    // Installs the hook in the engine's SIP stack (once per process).
    void install();

    // --- the account manager's side (pumping thread) --------------------
    // A registration attempt to host starts: the hook files what fails under
    // the returned id. endAttempts(): no attempt any more (the hook then
    // leaves every verdict as the TLS library made it).
    unsigned beginAttempt(const std::string& host);
    void endAttempts();
    // The failure the hook saw during that attempt, taken once.
    bool takeFailure(unsigned attempt, CertificateReport& out);

    // The user accepted the certificate for host with these reasons; persist:
    // also keep it in the trust file. false (with error) when the file could not
    // be written (the certificate is trusted for this run all the same).
    bool trust(const CertificateReport& report, bool persist, std::string& error);
    // Whether a chain for host ending in this server certificate with these
    // flags is trusted: accepted for this host, and no reason beyond the ones
    // accepted. Reads the trust file as needed.
    bool trusted(const std::string& host, const std::string& fingerprint, uint32_t flags);
    // Forgets what was trusted in memory (the file is re-read on next use).
    void forgetForTests();

    // --- the hook ---------------------------------------------------------
    // One certificate of a chain, DER; flags is the TLS library's verdict for
    // it, to be left, cleared or added to. Returns 0 (non-zero would abort).
    int verify(const unsigned char* der, int length, int depth, uint32_t* flags);

    // --- words and forms --------------------------------------------------
    // The reasons, one word group per flag in the order of the flags' bits:
    // "expired", "revoked", "name mismatch", "not trusted", ... (docs/telephony.md).
    static std::vector<std::string> reasons(uint32_t flags);
    // Whether the user may accept a chain with these flags (not when revoked).
    static bool acceptable(uint32_t flags);
    // SHA-256 of the DER bytes, upper-case hex pairs joined by ":".
    static std::string fingerprint(const unsigned char* der, size_t length);
    static std::string pem(const unsigned char* der, size_t length);
    // The subject's common name, "" when none or the DER does not parse.
    static std::string subjectCN(const unsigned char* der, size_t length);
    // The TLS library's bits for bctoolbox's BCTBX_CERTIFICATE_VERIFY_* flags
    // (what the hook is given), for tests.
    static uint32_t libraryFlags(uint32_t flags);
    // Fingerprints compare without regard to case.
    static bool sameFingerprint(const std::string& a, const std::string& b);
    // $XDG_CONFIG_HOME/com.norva.Tollbridge/trusted-certificates ("" with error when there is no config folder).
    static std::string trustFilePath(std::string& error);

private:
    ServerCertificates() = default;

    struct Entry {
        std::string host;
        std::string fingerprint;
        uint32_t flags = 0;  // the reasons the user saw and accepted, BCTBX_CERTIFICATE_VERIFY_* bits
    };
    struct Seen {
        std::vector<unsigned char> der;
        uint32_t flags = 0;  // the TLS library's own bits, as the hook was given them
    };

    bool trustedLocked(const std::string& host, const std::string& fingerprint, uint32_t flags);
    void loadFileLocked();
    static std::vector<Entry> readFile(const std::string& path);
    static bool writeFile(const std::string& path, const std::vector<Entry>& entries, std::string& error);

    std::mutex m_mutex;
    bool m_installed = false;
    bool m_fileLoaded = false;
    unsigned m_nextAttempt = 1;
    unsigned m_attempt = 0;  // 0: none under way
    std::string m_host;
    std::vector<Seen> m_chain;  // depth > 0 of the chain being verified, top first
    bool m_haveFailure = false;
    CertificateReport m_failure;
    std::vector<Entry> m_trusted;
};

}  // namespace zep
}  // namespace tessel
