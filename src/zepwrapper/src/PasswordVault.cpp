#include "PasswordVault.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>

#include "ConfigFolder.h"

namespace tessel {
namespace zep {

namespace {
const size_t kKeySize = 32;
const size_t kNonceSize = 12;
const size_t kTagSize = 16;

std::string base64(const std::vector<unsigned char>& bytes) {
    std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int n =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[0]), bytes.data(), static_cast<int>(bytes.size()));
    out.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return out;
}

bool unbase64(const std::string& text, std::vector<unsigned char>& bytes) {
    if (text.empty() || text.size() % 4 != 0) return false;
    bytes.assign(3 * text.size() / 4, 0);
    const int n = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                  static_cast<int>(text.size()));
    if (n < 0) return false;
    size_t size = static_cast<size_t>(n);
    // EVP_DecodeBlock counts the padding as zero bytes.
    for (size_t i = text.size(); i > 0 && text[i - 1] == '='; --i) --size;
    bytes.resize(size);
    return true;
}

struct CipherContext {
    CipherContext() : p(EVP_CIPHER_CTX_new()) {}
    ~CipherContext() { EVP_CIPHER_CTX_free(p); }
    EVP_CIPHER_CTX* p;
};
}  // namespace

std::string PasswordVault::keyPath(std::string& error) {
    const std::string folder = ConfigFolder::locate(error);
    return folder.empty() ? folder : folder + "/vault.key";
}

bool PasswordVault::loadKey(std::string& key, std::string& error) {
    std::string folder;
    if (!ConfigFolder::prepare(folder, error)) return false;
    const std::string path = folder + "/vault.key";
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0 && errno == ENOENT) {
        unsigned char fresh[kKeySize];
        if (RAND_bytes(fresh, sizeof fresh) != 1) {
            error = "no random bytes for a key";
            return false;
        }
        // O_EXCL: when two writers race, the loser reads the winner's key.
        const int out = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (out >= 0) {
            const bool written = write(out, fresh, sizeof fresh) == static_cast<ssize_t>(sizeof fresh);
            const bool synced = fsync(out) == 0;
            close(out);
            if (!written || !synced) {
                unlink(path.c_str());
                error = "cannot write the key file";
                return false;
            }
        }
        fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    }
    if (fd < 0) {
        error = "cannot open the key file: " + std::string(std::strerror(errno));
        return false;
    }
    unsigned char buffer[kKeySize + 1];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    close(fd);
    if (n != static_cast<ssize_t>(kKeySize)) {
        error = "the key file is damaged";
        return false;
    }
    key.assign(reinterpret_cast<const char*>(buffer), kKeySize);
    return true;
}

bool PasswordVault::encrypt(const std::string& plain, std::string& out, std::string& error) {
    out.clear();
    std::string key;
    if (!loadKey(key, error)) return false;
    std::vector<unsigned char> blob(kNonceSize + plain.size() + kTagSize);
    if (RAND_bytes(blob.data(), kNonceSize) != 1) {
        error = "no random bytes for a nonce";
        return false;
    }
    CipherContext ctx;
    int len = 0;
    const unsigned char* pKey = reinterpret_cast<const unsigned char*>(key.data());
    const bool ok =
        ctx.p != nullptr && EVP_EncryptInit_ex(ctx.p, EVP_aes_256_gcm(), nullptr, pKey, blob.data()) == 1 &&
        EVP_EncryptUpdate(ctx.p, blob.data() + kNonceSize, &len, reinterpret_cast<const unsigned char*>(plain.data()),
                          static_cast<int>(plain.size())) == 1 &&
        EVP_EncryptFinal_ex(ctx.p, blob.data() + kNonceSize + len, &len) == 1 &&
        EVP_CIPHER_CTX_ctrl(ctx.p, EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagSize),
                            blob.data() + kNonceSize + plain.size()) == 1;
    OPENSSL_cleanse(&key[0], key.size());
    if (!ok) {
        error = "encryption failed";
        return false;
    }
    out = base64(blob);
    return true;
}

bool PasswordVault::decrypt(const std::string& text, std::string& plain, std::string& error) {
    plain.clear();
    std::vector<unsigned char> blob;
    if (!unbase64(text, blob) || blob.size() < kNonceSize + kTagSize) {
        error = "not an encrypted text";
        return false;
    }
    std::string key;
    if (!loadKey(key, error)) return false;
    const size_t size = blob.size() - kNonceSize - kTagSize;
    std::vector<unsigned char> out(size + 1);
    CipherContext ctx;
    int len = 0;
    int last = 0;
    const unsigned char* pKey = reinterpret_cast<const unsigned char*>(key.data());
    const bool ok = ctx.p != nullptr && EVP_DecryptInit_ex(ctx.p, EVP_aes_256_gcm(), nullptr, pKey, blob.data()) == 1 &&
                    EVP_DecryptUpdate(ctx.p, out.data(), &len, blob.data() + kNonceSize, static_cast<int>(size)) == 1 &&
                    EVP_CIPHER_CTX_ctrl(ctx.p, EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagSize),
                                        blob.data() + kNonceSize + size) == 1 &&
                    EVP_DecryptFinal_ex(ctx.p, out.data() + len, &last) == 1;
    OPENSSL_cleanse(&key[0], key.size());
    if (!ok) {
        OPENSSL_cleanse(out.data(), out.size());
        error = "the text does not decrypt with this user's key";
        return false;
    }
    plain.assign(reinterpret_cast<const char*>(out.data()), static_cast<size_t>(len + last));
    OPENSSL_cleanse(out.data(), out.size());
    return true;
}

}  // namespace zep
}  // namespace tessel
