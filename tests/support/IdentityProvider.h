#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace pelatest {
class TempDir;
}

namespace tessel {
namespace test {

// A real OpenID provider (npm oidc-provider) with the provisioning service of
// a single sign-on domain, on HTTPS on 127.0.0.1 (tests/sso/idp.mjs), and a
// scripted user for its pages (tests/sso/agent.mjs). The certificate is from
// a test authority: hosts that talk to it get SSL_CERT_FILE=ca().
class IdentityProvider {
public:
    struct Options {
        std::string domain = "sip.test";
        std::string registrar;  // "127.0.0.1:PORT;transport=tcp"
        std::string secret;     // shared with the registrar
        std::string redirect = "http://127.0.0.1/sso-done";
        std::string users = "dave:dave-pw,erin:erin-pw";
        int credentialTtl = 600;
        int accessTtl = 3600;
        bool refresh = true;
    };

    explicit IdentityProvider(const Options& options);
    ~IdentityProvider();
    IdentityProvider(const IdentityProvider&) = delete;
    IdentityProvider& operator=(const IdentityProvider&) = delete;

    // Runs it until it prints where it serves; false (see error()) otherwise.
    bool start(std::chrono::milliseconds timeout = std::chrono::seconds(20));
    void stop();

    const std::string& issuer() const { return m_issuer; }
    // "https://127.0.0.1:PORT": what a page puts in "TftpAddressList".
    const std::string& provisioning() const { return m_provisioning; }
    const std::string& ca() const { return m_ca; }
    const Options& options() const { return m_options; }

    // Goes through the provider's pages from an authorization address as the
    // user would (deny: refuses consent); the address the provider sends the
    // browser back to, or "" (see error()). The provider's cookies are kept
    // per jar name, so a second run with the same jar reuses its session.
    std::string signInAt(const std::string& url, const std::string& user, const std::string& password,
                         bool deny = false, const std::string& jar = "");
    // Ends every session and grant of the user at the provider.
    bool revoke(const std::string& user);

    const std::string& error() const { return m_error; }
    std::string logText() const;

private:
    Options m_options;
    std::unique_ptr<pelatest::TempDir> m_pDir;
    pid_t m_pid = -1;
    int m_toChild = -1;
    std::string m_issuer;
    std::string m_provisioning;
    std::string m_ca;
    std::string m_error;
};

}  // namespace test
}  // namespace tessel
