#include "ServerCertificates.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include <bctoolbox/crypto.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <sys/stat.h>

#include "ConfigFolder.h"
#include "LockFile.h"
#include "ZepLog.h"

// The verify hook of belle-sip is marked deprecated in favour of a per-stack
// crypto configuration, which liblinphone 5.1 does not let applications set.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <belle-sip/auth-helper.h>
#pragma GCC diagnostic pop

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/ServerCertificates";

namespace {

const char* const kTrustFileName = "trusted-certificates";

// The reasons' words, by the bctoolbox flag they stand for (bit order).
struct Reason {
    uint32_t flag;
    const char* word;
};
const Reason kReasons[] = {
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_EXPIRED, "expired"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_REVOKED, "revoked"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_CN_MISMATCH, "name mismatch"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_NOT_TRUSTED, "not trusted"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_MISSING, "missing"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_SKIP_VERIFY, "not verified"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_OTHER, "other"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_FUTURE, "not yet valid"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_KEY_USAGE, "key usage"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_EXT_KEY_USAGE, "extended key usage"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_NS_CERT_TYPE, "certificate type"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_BAD_MD, "weak signature hash"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_BAD_PK, "unacceptable signature algorithm"},
    {BCTBX_CERTIFICATE_VERIFY_BADCERT_BAD_KEY, "weak key"},
    {BCTBX_CERTIFICATE_VERIFY_BADCRL_FUTURE, "revocation list not yet valid"},
    {BCTBX_CERTIFICATE_VERIFY_BADCRL_NOT_TRUSTED, "revocation list not trusted"},
    {BCTBX_CERTIFICATE_VERIFY_BADCRL_EXPIRED, "revocation list expired"},
    {BCTBX_CERTIFICATE_VERIFY_BADCRL_BAD_MD, "revocation list weak signature hash"},
    {BCTBX_CERTIFICATE_VERIFY_BADCRL_BAD_PK, "revocation list unacceptable signature algorithm"},
    {BCTBX_CERTIFICATE_VERIFY_BADCRL_BAD_KEY, "revocation list weak key"},
};

uint32_t knownFlags() {
    uint32_t all = 0;
    for (const Reason& r : kReasons) all |= r.flag;
    return all;
}

// The TLS library's bits as bctoolbox names them; a bit it cannot name still
// counts, as "other".
uint32_t libraryNeutral(uint32_t raw) {
    uint32_t flags = bctbx_x509_certificate_remap_flag(raw);
    if (raw != 0 && flags == 0) flags = BCTBX_CERTIFICATE_VERIFY_BADCERT_OTHER;
    return flags;
}

bool equalNoCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

// "expired, not trusted" <-> flags, for the trust file.
std::string reasonText(uint32_t flags) {
    std::string text;
    for (const std::string& word : ServerCertificates::reasons(flags)) text += (text.empty() ? "" : ", ") + word;
    return text;
}

bool parseReasons(const std::string& text, uint32_t& flags) {
    flags = 0;
    std::stringstream in(text);
    std::string word;
    while (std::getline(in, word, ',')) {
        const size_t first = word.find_first_not_of(' ');
        if (first == std::string::npos) continue;
        word = word.substr(first, word.find_last_not_of(' ') - first + 1);
        bool known = false;
        for (const Reason& r : kReasons) {
            if (word == r.word) {
                flags |= r.flag;
                known = true;
            }
        }
        if (!known) return false;
    }
    return flags != 0;
}

bool validFingerprint(const std::string& fp) {
    if (fp.size() != 32 * 3 - 1) return false;
    for (size_t i = 0; i < fp.size(); ++i) {
        if (i % 3 == 2 ? fp[i] != ':' : !std::isxdigit(static_cast<unsigned char>(fp[i]))) return false;
    }
    return true;
}

bool validHost(const std::string& host) {
    return !host.empty() && host.find_first_of(" \t\r\n") == std::string::npos;
}

}  // namespace

// belle-sip's hook: int (*)(unsigned char* der, int length, int depth, uint32_t* flags).
extern "C" {
static int zepVerifyHook(unsigned char* der, int length, int depth, uint32_t* flags) {
    return ServerCertificates::instance().verify(der, length, depth, flags);
}
}

ServerCertificates& ServerCertificates::instance() {
    // Never destroyed: the engine's stack may call the hook until the process ends.
    static ServerCertificates* const pInstance = new ServerCertificates();
    return *pInstance;
}

void ServerCertificates::install() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_installed) return;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    belle_sip_tls_set_verify_error_cb(reinterpret_cast<void*>(&zepVerifyHook));
#pragma GCC diagnostic pop
    m_installed = true;
}

unsigned ServerCertificates::beginAttempt(const std::string& host) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_attempt = m_nextAttempt++;
    if (m_nextAttempt == 0) m_nextAttempt = 1;
    m_host = host;
    m_chain.clear();
    m_haveFailure = false;
    return m_attempt;
}

void ServerCertificates::endAttempts() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_attempt = 0;
    m_host.clear();
    m_chain.clear();
    m_haveFailure = false;
}

bool ServerCertificates::takeFailure(unsigned attempt, CertificateReport& out) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_haveFailure || attempt == 0 || m_failure.attempt != attempt) return false;
    out = m_failure;
    m_haveFailure = false;
    return true;
}

int ServerCertificates::verify(const unsigned char* der, int length, int depth, uint32_t* flags) {
    if (der == nullptr || length <= 0 || flags == nullptr || depth < 0) return 0;
    std::unique_lock<std::mutex> lock(m_mutex);
    // Outside a registration attempt the TLS library's verdict stands as it is.
    if (m_attempt == 0) return 0;
    if (depth > 0) {
        // The chain comes top first; its verdicts are held back and decided
        // with the server's certificate, at depth 0.
        if (m_chain.size() < static_cast<size_t>(depth)) m_chain.resize(static_cast<size_t>(depth));
        Seen& seen = m_chain[static_cast<size_t>(depth) - 1];
        seen.der.assign(der, der + length);
        seen.flags = *flags;
        *flags = 0;
        return 0;
    }
    uint32_t raw = *flags;
    for (const Seen& seen : m_chain) raw |= seen.flags;
    if (raw == 0) {
        m_chain.clear();
        return 0;
    }
    const size_t size = static_cast<size_t>(length);
    const std::string fp = fingerprint(der, size);
    const uint32_t neutral = libraryNeutral(raw);
    if (trustedLocked(m_host, fp, neutral)) {
        *flags = 0;
        m_chain.clear();
        const std::string host = m_host;
        lock.unlock();
        ZEP_LOG(OZKLogLevelInfo, kSrc,
                "certificate of [" << host << "] accepted by the user earlier: [" << fp << "] [" << reasonText(neutral)
                                   << "]");
        return 0;
    }
    // Not trusted: the chain's reasons stay on the server's certificate, so
    // the handshake fails; the account manager hears of it from the pump.
    *flags = raw;
    CertificateReport report;
    report.attempt = m_attempt;
    report.host = m_host;
    report.fingerprint = fp;
    report.subjectCN = subjectCN(der, size);
    report.flags = neutral;
    report.pem = pem(der, size);
    for (const Seen& seen : m_chain) {
        if (seen.der.empty()) continue;
        report.chainPem.push_back(pem(seen.der.data(), seen.der.size()));
        report.chainFingerprints.push_back(fingerprint(seen.der.data(), seen.der.size()));
    }
    m_chain.clear();
    m_failure = report;
    m_haveFailure = true;
    lock.unlock();
    ZEP_LOG(OZKLogLevelWarning, kSrc,
            "certificate of [" << report.host << "] failed verification: [" << report.fingerprint << "] CN ["
                               << report.subjectCN << "] [" << reasonText(neutral) << "], chain of ["
                               << report.chainPem.size() + 1 << "]");
    return 0;
}

bool ServerCertificates::trusted(const std::string& host, const std::string& fp, uint32_t flags) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return trustedLocked(host, fp, flags);
}

bool ServerCertificates::trustedLocked(const std::string& host, const std::string& fp, uint32_t flags) {
    if (!acceptable(flags) || host.empty()) return false;
    loadFileLocked();
    for (const Entry& e : m_trusted) {
        if (equalNoCase(e.host, host) && sameFingerprint(e.fingerprint, fp) && (flags & ~e.flags) == 0) return true;
    }
    return false;
}

bool ServerCertificates::trust(const CertificateReport& report, bool persist, std::string& error) {
    std::lock_guard<std::mutex> lock(m_mutex);
    loadFileLocked();
    Entry entry;
    entry.host = report.host;
    entry.fingerprint = report.fingerprint;
    entry.flags = report.flags;
    auto same = [&](const Entry& e) {
        return equalNoCase(e.host, entry.host) && sameFingerprint(e.fingerprint, entry.fingerprint);
    };
    m_trusted.erase(std::remove_if(m_trusted.begin(), m_trusted.end(), same), m_trusted.end());
    m_trusted.push_back(entry);
    if (!persist) return true;
    if (!validHost(entry.host) || !validFingerprint(entry.fingerprint)) {
        error = "the certificate cannot be kept: host or fingerprint unusable";
        return false;
    }
    std::string folder;
    if (!ConfigFolder::prepare(folder, error)) return false;
    const std::string path = folder + "/" + kTrustFileName;
    // Several hosts may share the file: read, merge and replace under a lock.
    LockFile fileLock;
    std::string why;
    if (fileLock.lock(path + ".lock", LockFile::Wait::Yes, why) != LockFile::Outcome::Locked) {
        error = "cannot lock the trust file: " + why;
        return false;
    }
    std::vector<Entry> entries = readFile(path);
    entries.erase(std::remove_if(entries.begin(), entries.end(), same), entries.end());
    entries.push_back(entry);
    return writeFile(path, entries, error);
}

void ServerCertificates::forgetForTests() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_trusted.clear();
    m_fileLoaded = false;
}

void ServerCertificates::loadFileLocked() {
    if (m_fileLoaded) return;
    m_fileLoaded = true;
    std::string error;
    const std::string path = trustFilePath(error);
    if (path.empty()) return;
    for (const Entry& e : readFile(path)) {
        const bool known = std::any_of(m_trusted.begin(), m_trusted.end(), [&](const Entry& t) {
            return equalNoCase(t.host, e.host) && sameFingerprint(t.fingerprint, e.fingerprint);
        });
        if (!known) m_trusted.push_back(e);
    }
}

std::vector<ServerCertificates::Entry> ServerCertificates::readFile(const std::string& path) {
    std::vector<Entry> entries;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        // HOST FINGERPRINT REASON, REASON...
        std::istringstream fields(line);
        Entry e;
        std::string reasons;
        if (!(fields >> e.host >> e.fingerprint) || !std::getline(fields, reasons) || !validHost(e.host) ||
            !validFingerprint(e.fingerprint) || !parseReasons(reasons, e.flags)) {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "trust file: a line that does not parse is ignored");
            continue;
        }
        entries.push_back(e);
    }
    return entries;
}

bool ServerCertificates::writeFile(const std::string& path, const std::vector<Entry>& entries, std::string& error) {
    std::ostringstream text;
    text << "# Server certificates the user accepted (pelahost), one a line:\n"
         << "# HOST SHA-256-FINGERPRINT REASONS-ACCEPTED\n";
    for (const Entry& e : entries) text << e.host << ' ' << e.fingerprint << ' ' << reasonText(e.flags) << '\n';
    const std::string data = text.str();
    const std::string temporary = path + ".tmp." + std::to_string(getpid());
    unlink(temporary.c_str());
    const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        error = "cannot write [" + temporary + "]: " + std::strerror(errno);
        return false;
    }
    fchmod(fd, 0600);
    const bool written = write(fd, data.data(), data.size()) == static_cast<ssize_t>(data.size());
    const bool synced = fsync(fd) == 0;
    close(fd);
    if (!written || !synced || rename(temporary.c_str(), path.c_str()) != 0) {
        error = "cannot write the trust file [" + path + "]";
        unlink(temporary.c_str());
        return false;
    }
    return true;
}

std::string ServerCertificates::trustFilePath(std::string& error) {
    const std::string folder = ConfigFolder::locate(error);
    return folder.empty() ? folder : folder + "/" + kTrustFileName;
}

std::vector<std::string> ServerCertificates::reasons(uint32_t flags) {
    std::vector<std::string> words;
    for (const Reason& r : kReasons) {
        if (flags & r.flag) words.push_back(r.word);
    }
    // A bit without a word of its own is "other", once.
    if ((flags & ~knownFlags()) != 0 && std::find(words.begin(), words.end(), "other") == words.end()) {
        words.push_back("other");
    }
    return words;
}

bool ServerCertificates::acceptable(uint32_t flags) {
    return (flags & BCTBX_CERTIFICATE_VERIFY_BADCERT_REVOKED) == 0;
}

std::string ServerCertificates::fingerprint(const unsigned char* der, size_t length) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_Digest(der, length, digest, &size, EVP_sha256(), nullptr) != 1) return std::string();
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned int i = 0; i < size; ++i) {
        if (i != 0) out += ':';
        out += kHex[digest[i] >> 4];
        out += kHex[digest[i] & 0xf];
    }
    return out;
}

std::string ServerCertificates::pem(const unsigned char* der, size_t length) {
    std::string out = "-----BEGIN CERTIFICATE-----\n";
    // 48 bytes make one 64-character line.
    for (size_t at = 0; at < length; at += 48) {
        const size_t n = std::min<size_t>(48, length - at);
        unsigned char line[65];
        const int written = EVP_EncodeBlock(line, der + at, static_cast<int>(n));
        out.append(reinterpret_cast<const char*>(line), static_cast<size_t>(written));
        out += '\n';
    }
    return out + "-----END CERTIFICATE-----\n";
}

std::string ServerCertificates::subjectCN(const unsigned char* der, size_t length) {
    const unsigned char* p = der;
    X509* cert = d2i_X509(nullptr, &p, static_cast<long>(length));
    if (cert == nullptr) return std::string();
    std::string cn;
    X509_NAME* name = X509_get_subject_name(cert);
    const int index = name ? X509_NAME_get_index_by_NID(name, NID_commonName, -1) : -1;
    if (index >= 0) {
        unsigned char* utf8 = nullptr;
        const int n = ASN1_STRING_to_UTF8(&utf8, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
        if (n > 0) cn.assign(reinterpret_cast<const char*>(utf8), static_cast<size_t>(n));
        OPENSSL_free(utf8);
    }
    X509_free(cert);
    return cn;
}

uint32_t ServerCertificates::libraryFlags(uint32_t flags) {
    uint32_t raw = 0;
    bctbx_x509_certificate_set_flag(&raw, flags);
    return raw;
}

bool ServerCertificates::sameFingerprint(const std::string& a, const std::string& b) {
    return !a.empty() && equalNoCase(a, b);
}

}  // namespace zep
}  // namespace tessel
