#include "SignedInHost.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace tessel {
namespace test {

using boost::property_tree::ptree;
using namespace std::chrono_literals;

namespace {
// Sign-in over loopback is quick; this bounds a stuck step, not a slow one.
constexpr std::chrono::milliseconds kStepTimeout = 20s;

}  // namespace

SignedInHost::SignedInHost(KamailioFixture& sip, pelatest::HostProcess::Options options)
    : m_sip(sip), m_options(std::move(options)) {}

SignedInHost::~SignedInHost() = default;

bool SignedInHost::fail(const std::string& why) {
    m_why = why;
    return false;
}

std::string SignedInHost::field(const ptree& message, const std::string& key) {
    return pelatest::serverField(message, key);
}

bool SignedInHost::start(const std::string& transport) {
    // An earlier host's config folder is kept (its keys), else a private one.
    if (m_options.configHome.empty()) m_options.configHome = m_config.path();
    pelatest::writePreferences(m_options.configHome, std::string("{\"AlwaysAllow_") + kSite + "\": true}");
    m_spHost = std::make_unique<pelatest::HostProcess>(m_options);
    if (!m_engineConfig.empty()) {
        // The framework's state folder under the host's XDG_STATE_HOME; the engine reads it at start.
        const std::string folder = m_spHost->home() + "/state/Marlin Web SDK/zep";
        std::error_code ec;
        std::filesystem::create_directories(folder, ec);
        std::ofstream out(folder + "/linphonerc");
        out << m_engineConfig;
        if (ec || !out.flush()) return fail("cannot write the engine config in " + folder);
    }

    ptree init = call("init");
    if (field(init, "content.userauthstatus") != "UserAuthorized") {
        return fail("init not authorized: " + field(init, "content.userauthstatus"));
    }
    if (!waitForEvent("multimediacapabilitiesstarted", kStepTimeout)) return fail("framework did not start");
    const std::string address = m_sip.hostPort() + ";transport=" + transport;
    ptree set = call("setProperty", "{\"LoryAddressList\": [" + pelatest::jsonQuote(address) + "]}");
    if (!field(set, "error").empty()) return fail("setProperty LoryAddressList: " + field(set, "error"));
    return true;
}

bool SignedInHost::signIn(const std::string& user, const std::string& password,
                          std::chrono::microseconds* credentialsToLoggedIn) {
    const std::string secret = password.empty() ? m_sip.password(user) : password;
    ptree started = call("startSignIn", "{}");
    if (!field(started, "error").empty()) return fail("startSignIn: " + field(started, "error"));
    // The e-mail prompt is skipped when the framework already knows the address.
    ptree event;
    bool asked = false;
    bool credentials = m_spHost->receiveUntil(
        [&](const ptree& m) {
            asked = asked || pelatest::isEvent(m, "userprofileemailaddressrequired");
            if (pelatest::isEvent(m, "userprofileemailaddressrequired")) return true;
            if (pelatest::isEvent(m, "userprofilecredentialsrequired")) {
                event = m;
                return true;
            }
            return false;
        },
        kStepTimeout, &m_seen);
    if (!credentials) return fail("no sign-in prompt after startSignIn");
    if (asked) {
        ptree email =
            call("setUserProfileEmailAddress", "{\"email\": " + pelatest::jsonQuote(user + "@" + m_sip.domain()) + "}");
        if (!field(email, "error").empty()) return fail("setUserProfileEmailAddress: " + field(email, "error"));
        if (!waitForEvent("userprofilecredentialsrequired", kStepTimeout, &event)) {
            return fail("no credentials prompt after the e-mail address");
        }
    }
    const std::string authenticator = field(event, "content.authenticatorId");
    const auto sentAt = std::chrono::steady_clock::now();
    ptree sent = call("setUserProfileCredentials",
                      "{\"authenticator\": " + (authenticator.empty() ? std::string("0") : authenticator) +
                          ", \"username\": " + pelatest::jsonQuote(user) +
                          ", \"password\": " + pelatest::jsonQuote(secret) + "}");
    if (!field(sent, "error").empty()) return fail("setUserProfileCredentials: " + field(sent, "error"));
    if (!waitForEvent("loggedin", kStepTimeout)) return fail("not signed in");
    if (credentialsToLoggedIn != nullptr) {
        *credentialsToLoggedIn =
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - sentAt);
    }
    return true;
}

ptree SignedInHost::call(const std::string& name, const std::string& contentJson) {
    const std::string id = "s" + std::to_string(m_nextId++);
    m_spHost->send(pelatest::request(kClientId, kSite, name, id, contentJson));
    ptree reply;
    bool replied = m_spHost->receiveUntil(
        [&](const ptree& m) {
            if (pelatest::isReplyTo(m, id)) {
                reply = m;
                return true;
            }
            return false;
        },
        kStepTimeout, &m_seen);
    EXPECT_TRUE(replied) << "no reply to " << name;
    return reply;
}

bool SignedInHost::waitForEvent(const std::string& name, std::chrono::milliseconds timeout, ptree* event) {
    return m_spHost->receiveUntil(
        [&](const ptree& m) {
            if (pelatest::isEvent(m, name)) {
                if (event != nullptr) *event = m;
                return true;
            }
            return false;
        },
        timeout, &m_seen);
}

size_t SignedInHost::waitForEventFrom(const std::string& name, size_t from,
                                      const std::function<bool(const ptree&)>& pred, ptree* content,
                                      std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (size_t i = from;;) {
        for (; i < m_seen.size(); ++i) {
            const ptree m = pelatest::parseJson(m_seen[i]);
            if (!pelatest::isEvent(m, name)) continue;
            const ptree found = m.get_child("norvaChannelMessage.norvaSDKServerMessage.content", ptree());
            if (pred && !pred(found)) continue;
            if (content != nullptr) *content = found;
            return i;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left <= std::chrono::milliseconds(0) || !waitForEvent(name, left)) return npos;
    }
}

bool SignedInHost::waitForCallState(const std::string& state, size_t from, ptree* call) {
    return waitForEventFrom(
               "callstatechange", from, [&](const ptree& c) { return c.get<std::string>("callState", "") == state; },
               call) != npos;
}

std::vector<std::string> SignedInHost::eventNames() const {
    std::vector<std::string> names;
    for (const std::string& text : m_seen) {
        ptree m = pelatest::parseJson(text);
        if (field(m, "replyToMessageId").empty()) names.push_back(field(m, "name"));
    }
    return names;
}

}  // namespace test
}  // namespace tessel
