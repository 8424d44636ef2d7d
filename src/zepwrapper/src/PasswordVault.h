#pragma once

#include <string>

namespace tessel {
namespace zep {

// Encrypts short secrets with AES-256-GCM under a per-user random key kept
// in the user's config folder ($XDG_CONFIG_HOME, default ~/.config,
// "/com.norva.Tollbridge/vault.key": folder 0700, file 0600). The text form
// is base64 of nonce (12 bytes) + ciphertext + tag (16 bytes).
class PasswordVault {
public:
    // The key file's path; "" (and error) when no config folder is known.
    static std::string keyPath(std::string& error);
    // false, with error set and out empty, when the key cannot be had or
    // the cipher fails.
    static bool encrypt(const std::string& plain, std::string& out, std::string& error);
    // false when the text is not ours: wrong shape, other key, altered.
    static bool decrypt(const std::string& text, std::string& plain, std::string& error);

private:
    static bool loadKey(std::string& key, std::string& error);
};

}  // namespace zep
}  // namespace tessel
