#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include <sys/types.h>

namespace pelatest {
class TempDir;
}

namespace tessel {
namespace test {

// A real SIP registrar and proxy (Kamailio) on 127.0.0.1, for sign-in and
// call tests. It listens on one free port for UDP and TCP alike, serves the
// domain "sip.test" (also the digest realm) and knows three users with
// passwords: alice, bob and carol. Locations live in memory only, so a new
// fixture starts empty. Kamailio missing or failing to start is an error
// (start() returns false), never a reason to skip.
//
// enableTls() adds a TLS listener on another free port of 127.0.0.1 with a
// certificate chain and key of the test's making (-A WITH_TLS, see
// tests/sip/kamailio.cfg); UDP and TCP stay as they are.
class KamailioFixture {
public:
    KamailioFixture();
    ~KamailioFixture();
    KamailioFixture(const KamailioFixture&) = delete;
    KamailioFixture& operator=(const KamailioFixture&) = delete;

    // Before start(): users without a password here may register with
    // short-lived credentials ("EXPIRY:USER", base64 HMAC-SHA1 under the
    // secret), as a provisioning service hands them out.
    void useEphemeralCredentials(const std::string& secret) { m_ephemeralSecret = secret; }
    // Before start(): the digest realm, when it is not the domain.
    void setRealm(const std::string& realm) { m_realm = realm; }
    // Before start(): the first re-INVITE of every dialog gets 491 Request
    // Pending from the proxy, as when the far end's own request crossed it.
    void refuseFirstReinvites() { m_glare = true; }

    // Picks a free port, writes the configuration into a private folder and
    // runs Kamailio until it answers an OPTIONS ping over UDP and accepts TCP
    // connections. false (see error()) when it cannot run or is not ready in time.
    bool start(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Ends the server; the port and folder are kept, so restart() brings the
    // same registrar back, with no registrations.
    void stop();
    bool restart(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    bool running() const { return m_pid > 0; }

    // TLS as well, with this chain (PEM, the server's certificate first) and
    // private key. Before start(), or between stop() and restart() to show
    // another certificate on the same port.
    void enableTls(const std::string& chainPem, const std::string& keyPem);
    bool tlsEnabled() const { return m_tls; }
    int tlsPort() const { return m_tlsPort; }
    // "NAME:TLSPORT;transport=tls", a "LoryAddressList" entry (names resolve
    // from /etc/hosts: "localhost").
    std::string tlsAddress(const std::string& name = "localhost") const {
        return name + ":" + std::to_string(m_tlsPort) + ";transport=tls";
    }

    const std::string& host() const { return m_host; }
    int port() const { return m_port; }
    const std::string& domain() const { return m_domain; }
    // "127.0.0.1:PORT".
    std::string hostPort() const { return m_host + ":" + std::to_string(m_port); }
    // "sip:NAME@sip.test".
    std::string userUri(const std::string& name) const { return "sip:" + name + "@" + m_domain; }
    // The password of a known user; "" for anybody else.
    std::string password(const std::string& name) const;

    // Why start() or restart() failed.
    const std::string& error() const { return m_error; }
    // Kamailio's own log (standard error) so far, for failure messages.
    std::string logText() const;

private:
    bool launch(std::chrono::milliseconds timeout);

    std::unique_ptr<pelatest::TempDir> m_pDir;
    std::string m_host = "127.0.0.1";
    std::string m_domain = "sip.test";
    int m_port = 0;
    bool m_tls = false;
    bool m_glare = false;
    int m_tlsPort = 0;
    std::map<std::string, std::string> m_users;
    std::string m_ephemeralSecret;
    std::string m_realm;
    pid_t m_pid = -1;
    std::string m_error;
};

}  // namespace test
}  // namespace tessel
