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

// A real SIP registrar and proxy (Kamailio) on 127.0.0.1, for sign-in and
// call tests. It listens on one free port for UDP and TCP alike, serves the
// domain "sip.test" and knows three users with digest passwords: alice, bob
// and carol. Locations live in memory only, so a new fixture starts empty.
//
//   KamailioFixture sip;
//   ASSERT_TRUE(sip.start()) << sip.error();
//   ... register "sip:alice@" + sip.domain() through sip.serverUri("tcp"),
//       realm sip.realm(), password sip.password("alice") ...
//
// Kamailio missing or failing to start is an error (start() returns false),
// never a reason to skip: the test machines have it installed.
class KamailioFixture {
public:
    struct User {
        std::string name;
        std::string password;
    };

    KamailioFixture();
    ~KamailioFixture();
    KamailioFixture(const KamailioFixture&) = delete;
    KamailioFixture& operator=(const KamailioFixture&) = delete;

    // Picks a free port, writes the configuration into a private folder and
    // runs Kamailio until it answers an OPTIONS ping over UDP and accepts TCP
    // connections. false (see error()) when it cannot run or is not ready in time.
    bool start(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Ends the server (SIGTERM, then SIGKILL); the port and folder are kept,
    // so restart() brings the same registrar back, with no registrations.
    void stop();
    bool restart(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    bool running() const { return m_pid > 0; }

    // The Kamailio binary this fixture runs.
    static const char* binary();

    const std::string& host() const { return m_host; }
    int port() const { return m_port; }
    const std::string& domain() const { return m_domain; }
    // The digest realm the server challenges with: the domain.
    const std::string& realm() const { return m_domain; }
    // "127.0.0.1:PORT".
    std::string hostPort() const;
    // "sip:127.0.0.1:PORT;transport=udp" (or tcp): where to register.
    std::string serverUri(const std::string& transport) const;
    // "sip:NAME@sip.test".
    std::string userUri(const std::string& name) const;

    const std::vector<User>& users() const { return m_users; }
    // The password of a known user; "" for anybody else.
    std::string password(const std::string& name) const;

    // Why start() or restart() failed.
    const std::string& error() const { return m_error; }
    // Kamailio's own log (standard error) so far, for failure messages.
    std::string logText() const;
    const std::string& folder() const;

private:
    bool writeConfig();
    bool launch(std::chrono::milliseconds timeout);
    bool waitReady(std::chrono::steady_clock::time_point deadline);

    std::unique_ptr<pelatest::TempDir> m_pDir;
    std::string m_host = "127.0.0.1";
    std::string m_domain = "sip.test";
    int m_port = 0;
    std::vector<User> m_users;
    pid_t m_pid = -1;
    std::string m_error;
};

// A port number free for both UDP and TCP on 127.0.0.1 at the time of the
// call, or 0 when none was found.
int pickFreeSipPort();

}  // namespace test
}  // namespace tessel
