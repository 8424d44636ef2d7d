#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/property_tree/ptree.hpp>

#include "HostProcess.h"
#include "KamailioFixture.h"

namespace tessel {
namespace test {

// The built host with one page on a pre-approved site, driven through
// sign-in against a KamailioFixture user, as a page would:
//
//   KamailioFixture sip;  ASSERT_TRUE(sip.start()) << sip.error();
//   SignedInHost page(sip);
//   ASSERT_TRUE(page.start()) << page.why();
//   ASSERT_TRUE(page.signIn("alice")) << page.why();
//   auto reply = page.call("getProperty", "\"line\"");
//
// Every message the host sent is kept in order (seen()), so a test can check
// the events that arrived while a step was waiting.
class SignedInHost {
public:
    static constexpr const char* kClientId = "page-1";
    static constexpr const char* kSite = "phone.sip.test";

    explicit SignedInHost(KamailioFixture& sip, pelatest::HostProcess::Options options = {});
    ~SignedInHost();

    // Text for the engine's config file (for example "[zep]\nplay_file=/a.wav\n"),
    // written by start() before "init" lets the framework start. Call before start().
    void setEngineConfig(const std::string& text) { m_engineConfig = text; }

    // Writes the approval for kSite (into options.configHome when the test
    // gave one, else into a private folder of ours), runs the host, sends "init", waits for
    // the reply and for the framework's "multimediacapabilitiesstarted", and
    // points "LoryAddressList" at the registrar over transport (tcp notices a
    // registrar that is down at once).
    bool start(const std::string& transport = "tcp");

    // "startSignIn", the e-mail address when asked, then the credentials when
    // asked, then waits for "loggedin". password empty: the user's own one.
    // credentialsToLoggedIn, when given, receives the time from writing the
    // credentials to reading "loggedin".
    bool signIn(const std::string& user, const std::string& password = "",
                std::chrono::microseconds* credentialsToLoggedIn = nullptr);

    // One request with its reply; a reply that never comes fails the test.
    boost::property_tree::ptree call(const std::string& name, const std::string& contentJson = "");
    // The next event of that name after everything already read; false on timeout.
    bool waitForEvent(const std::string& name, std::chrono::milliseconds timeout,
                      boost::property_tree::ptree* event = nullptr);
    // The first event of that name among seen()[from...] whose content pred
    // accepts (any, when pred is empty; events read meanwhile by call() count too), reading on until
    // one comes or time runs out. Its index in seen(), or npos; its content
    // goes to *content.
    size_t waitForEventFrom(const std::string& name, size_t from,
                            const std::function<bool(const boost::property_tree::ptree&)>& pred,
                            boost::property_tree::ptree* content = nullptr,
                            std::chrono::milliseconds timeout = std::chrono::seconds(15));
    // A "callstatechange" into state among seen()[from...]; its call object to *call.
    bool waitForCallState(const std::string& state, size_t from, boost::property_tree::ptree* call = nullptr);
    static constexpr size_t npos = static_cast<size_t>(-1);

    pelatest::HostProcess& host() { return *m_spHost; }
    const std::vector<std::string>& seen() const { return m_seen; }
    // Names of the events among seen(), in order.
    std::vector<std::string> eventNames() const;
    // Why the last start() or signIn() failed.
    const std::string& why() const { return m_why; }

    // Server-message field of a message (the same as pelatest::serverField).
    static std::string field(const boost::property_tree::ptree& message, const std::string& key);

private:
    bool fail(const std::string& why);

    KamailioFixture& m_sip;
    pelatest::HostProcess::Options m_options;
    pelatest::TempDir m_config;
    std::unique_ptr<pelatest::HostProcess> m_spHost;
    std::vector<std::string> m_seen;
    std::string m_why;
    std::string m_engineConfig;
    int m_nextId = 1;
};

}  // namespace test
}  // namespace tessel
