// Single sign-on through the built host: a real OpenID provider and the
// provisioning service (tests/sso/idp.mjs), Kamailio taking the short-lived
// credentials they hand out, and a scripted user at the provider's pages.

#include <regex>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "../../src/zepwrapper/src/PasswordVault.h"
#include "HostProcess.h"
#include "IdentityProvider.h"
#include "KamailioFixture.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using boost::property_tree::ptree;
using namespace std::chrono_literals;
using tessel::test::IdentityProvider;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;

namespace {

const char* const kSecret = "shared-with-the-registrar";

// A query parameter of an address, "" when absent.
std::string parameter(const std::string& url, const std::string& name) {
    std::smatch match;
    const std::regex pattern("[?&#]" + name + "=([^&#]*)");
    return std::regex_search(url, match, pattern) ? match[1].str() : std::string();
}

std::string withParameter(const std::string& url, const std::string& name, const std::string& value) {
    return std::regex_replace(url, std::regex("([?&])" + name + "=[^&#]*"), "$1" + name + "=" + value);
}

class HostSsoTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_sip = new KamailioFixture();
        s_sip->useEphemeralCredentials(kSecret);
        ASSERT_TRUE(s_sip->start()) << s_sip->error();
    }
    static void TearDownTestSuite() {
        delete s_sip;
        s_sip = nullptr;
    }

    // A provider for this test's registrar; credentialTtl and the session's
    // form as the test needs them.
    std::unique_ptr<IdentityProvider> provider(int credentialTtl = 600, int accessTtl = 3600, bool refresh = true) {
        IdentityProvider::Options options;
        options.registrar = s_sip->hostPort() + ";transport=tcp";
        options.secret = kSecret;
        options.credentialTtl = credentialTtl;
        options.accessTtl = accessTtl;
        options.refresh = refresh;
        auto idp = std::make_unique<IdentityProvider>(options);
        EXPECT_TRUE(idp->start()) << idp->error();
        return idp;
    }

    // A host trusting the provider's authority, its provisioning set.
    // home and configHome: an earlier host's, to start again on its files.
    std::unique_ptr<SignedInHost> host(IdentityProvider& idp, const std::string& home = "",
                                       const std::string& configHome = "") {
        pelatest::HostProcess::Options options;
        options.extraEnv["SSL_CERT_FILE"] = idp.ca();
        options.home = home;
        options.configHome = configHome;
        auto page = std::make_unique<SignedInHost>(*s_sip, options);
        EXPECT_TRUE(page->start()) << page->why();
        EXPECT_EQ(SignedInHost::field(page->call("setProperty", "{\"TftpAddressList\": [" +
                                                                    pelatest::jsonQuote(idp.provisioning()) + "]}"),
                                      "error"),
                  "");
        return page;
    }

    // "startSignIn" and the address; the authorization address the host sends, "" if none.
    std::string beginSignIn(SignedInHost& page, const std::string& address, bool addressAsked = true) {
        const size_t from = page.seen().size();
        EXPECT_EQ(SignedInHost::field(page.call("startSignIn", "{}"), "error"), "");
        if (addressAsked) {
            EXPECT_NE(page.waitForEventFrom("userprofileemailaddressrequired", from, nullptr), SignedInHost::npos);
            EXPECT_EQ(SignedInHost::field(
                          page.call("setUserProfileEmailAddress", "{\"email\": " + pelatest::jsonQuote(address) + "}"),
                          "error"),
                      "");
        }
        return navigateTo(page, from);
    }

    std::string navigateTo(SignedInHost& page, size_t from) {
        ptree shown;
        EXPECT_NE(page.waitForEventFrom("ssoshowwindow", from, nullptr, &shown), SignedInHost::npos);
        EXPECT_EQ(shown.get<std::string>("show", ""), "true");
        ptree url;
        if (page.waitForEventFrom("ssonavigateto", from, nullptr, &url) == SignedInHost::npos) return std::string();
        return url.data();
    }

    ptree completed(SignedInHost& page, const std::string& url, int result = 0) {
        return page.call("ssoNavigationCompleted", "{\"result\": " + std::to_string(result) +
                                                       ", \"url\": " + pelatest::jsonQuote(url) +
                                                       ", \"document\": \"<html><body></body></html>\"}");
    }

    // Waits for "ssosigninrequired" after from; its first error text.
    std::string signInRequired(SignedInHost& page, size_t from) {
        ptree content;
        if (page.waitForEventFrom("ssosigninrequired", from, nullptr, &content) == SignedInHost::npos) return "(none)";
        return content.get_child("errors").empty() ? "" : content.get_child("errors").front().second.get("error", "");
    }

    std::string authResult(SignedInHost& page, size_t from) {
        ptree content;
        if (page.waitForEventFrom("authenticationresult", from, nullptr, &content) == SignedInHost::npos) return "";
        return content.get<std::string>("status", "") + "/" + content.get<std::string>("result", "");
    }

    static KamailioFixture* s_sip;
};

KamailioFixture* HostSsoTest::s_sip = nullptr;

TEST_F(HostSsoTest, SignsInThroughTheProviderAndRenewsCredentialsDuringACall) {
    // Credentials for 12 s: renewed after 9, while a call is up.
    auto idp = provider(12);
    auto page = host(*idp);
    SipPeer bob(SipPeer::Options{});
    ASSERT_TRUE(bob.start()) << bob.error();
    ASSERT_TRUE(bob.registerAs(*s_sip, "bob", "udp")) << bob.error();

    const size_t from = page->seen().size();
    const std::string url = beginSignIn(*page, "dave@sip.test");
    ASSERT_EQ(url.rfind(idp->issuer() + "/", 0), 0u) << url;
    // PKCE with S256, a state and a nonce of the host's own, the address as a hint.
    EXPECT_EQ(parameter(url, "code_challenge_method"), "S256");
    EXPECT_GE(parameter(url, "code_challenge").size(), 43u);
    EXPECT_GE(parameter(url, "state").size(), 32u);
    EXPECT_FALSE(parameter(url, "nonce").empty());
    EXPECT_EQ(parameter(url, "client_id"), "pela-host");
    EXPECT_NE(page->waitForEventFrom("cancancelsinglesignonchanged", from,
                                     [](const ptree& c) { return c.get("cancancel", "") == "true"; }),
              SignedInHost::npos);

    const std::string back = idp->signInAt(url, "dave", "dave-pw");
    ASSERT_FALSE(back.empty()) << idp->error();
    const std::string code = parameter(back, "code");
    ASSERT_FALSE(code.empty()) << back;
    ASSERT_EQ(SignedInHost::field(completed(*page, back), "error"), "");
    ASSERT_NE(page->waitForEventFrom("loggedin", from, nullptr, nullptr, 20s), SignedInHost::npos) << s_sip->logText();
    // The window closed and the session valid before the line came up.
    const size_t hidden =
        page->waitForEventFrom("ssoshowwindow", from, [](const ptree& c) { return c.get("show", "") == "false"; });
    const size_t valid =
        page->waitForEventFrom("lifecyclessosessionchanged", from, [](const ptree& c) { return c.data() == "Valid"; });
    const size_t loggedIn = page->waitForEventFrom("loggedin", from, nullptr);
    EXPECT_LT(hidden, loggedIn);
    EXPECT_LT(valid, loggedIn);
    // The provider's user is the line.
    EXPECT_EQ(SignedInHost::field(page->call("getProperty", "\"device\""), "content.device.name"),
              "softphone:dave@sip.test");
    const ptree remaining = page->call("getSSOSessionTimeRemaining", "{}");
    const long time = std::stol(SignedInHost::field(remaining, "content.time"));
    EXPECT_GT(time, 3000);
    EXPECT_LE(time, 3600);

    // A call to a phone on the same registrar, then past the credentials' renewal.
    const size_t callFrom = page->seen().size();
    ASSERT_EQ(SignedInHost::field(page->call("originate", "{\"recipient\": \"bob\"}"), "error"), "");
    const int atBob = bob.waitIncomingCall(10s);
    ASSERT_NE(atBob, 0) << bob.logText();
    ASSERT_TRUE(bob.command("answer " + std::to_string(atBob))) << bob.logText();
    ASSERT_TRUE(page->waitForCallState("Connected", callFrom));
    std::this_thread::sleep_for(11s);
    const std::string log = page->host().logText();
    size_t issued = 0;
    for (size_t at = log.find("SIP credentials for [dave@sip.test]"); at != std::string::npos;
         at = log.find("SIP credentials for [dave@sip.test]", at + 1)) {
        ++issued;
    }
    EXPECT_GE(issued, 2u) << "renewed before they ran out";
    EXPECT_EQ(page->waitForEventFrom("connectionfailure", from, nullptr, nullptr, 10ms), SignedInHost::npos);
    EXPECT_EQ(s_sip->logText().find("ephemeral credentials refused for"), std::string::npos) << s_sip->logText();
    EXPECT_TRUE(bob.waitCallState(atBob, "StreamsRunning", 1s)) << "the call stayed up" << bob.logText();
    EXPECT_EQ(SignedInHost::field(page->call("getProperty", "\"connectionStatus\""), "content.connectionStatus"),
              "Connected");

    // No code, password or token in the log; the kept session only sealed, 0600.
    EXPECT_EQ(log.find(code), std::string::npos);
    EXPECT_EQ(log.find("dave-pw"), std::string::npos);
    const std::string kept = page->host().home() + "/state/Marlin Web SDK/zep/sso-session.json";
    ASSERT_TRUE(pelatest::exists(kept)) << kept;
    EXPECT_EQ(pelatest::modeOf(kept) & 0777, 0600u);
    const ptree sealed = pelatest::parseJson(pelatest::readFile(kept));
    pelatest::ScopedEnv env("XDG_CONFIG_HOME", page->host().configHome().c_str());
    std::string refreshToken;
    std::string error;
    ASSERT_TRUE(tessel::zep::PasswordVault::decrypt(sealed.get<std::string>("refreshToken", ""), refreshToken, error))
        << error;
    EXPECT_GE(refreshToken.size(), 20u);
    EXPECT_EQ(pelatest::readFile(kept).find(refreshToken), std::string::npos);
    EXPECT_EQ(log.find(refreshToken), std::string::npos);
}

TEST_F(HostSsoTest, RefusalsCancelsAndAnswersThatAreNotForThisSignIn) {
    auto idp = provider();
    auto page = host(*idp);

    // An answer whose state is not this sign-in's: refused, the code never used.
    size_t from = page->seen().size();
    std::string url = beginSignIn(*page, "dave@sip.test");
    ASSERT_FALSE(url.empty());
    // Pages on the way are not the end of it.
    EXPECT_EQ(SignedInHost::field(completed(*page, idp->issuer() + "/interaction/x"), "error"), "eInvalidArgument");
    std::string back = idp->signInAt(url, "dave", "dave-pw");
    ASSERT_FALSE(back.empty()) << idp->error();
    EXPECT_EQ(SignedInHost::field(completed(*page, withParameter(back, "state", "forged")), "error"),
              "eInvalidArgument");
    EXPECT_EQ(authResult(*page, from), "NotAuthenticated/InvalidResponse");
    EXPECT_NE(signInRequired(*page, from).find("not for this sign-in"), std::string::npos);
    EXPECT_EQ(SignedInHost::field(completed(*page, back), "error"), "eInvalidState") << "the flow is over";
    EXPECT_NE(
        page->waitForEventFrom("lifecyclestatechanged", from, [](const ptree& c) { return c.data() == "SignedOut"; }),
        SignedInHost::npos);

    // The user refuses at the provider: its error comes back to the page.
    from = page->seen().size();
    url = beginSignIn(*page, "", false);
    back = idp->signInAt(url, "dave", "dave-pw", true);
    ASSERT_EQ(parameter(back, "error"), "access_denied") << back;
    EXPECT_EQ(SignedInHost::field(completed(*page, back), "error"), "");
    EXPECT_EQ(authResult(*page, from), "NotAuthenticated/ProviderError");
    EXPECT_NE(signInRequired(*page, from).find("access_denied"), std::string::npos);

    // A code issued for another challenge (as if the address had been
    // altered on its way): the provider refuses our verifier.
    from = page->seen().size();
    url = beginSignIn(*page, "", false);
    back = idp->signInAt(withParameter(url, "code_challenge", "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM"), "dave",
                         "dave-pw");
    ASSERT_FALSE(parameter(back, "code").empty()) << back << idp->error();
    EXPECT_EQ(SignedInHost::field(completed(*page, back), "error"), "");
    EXPECT_EQ(authResult(*page, from), "NotAuthenticated/ProviderError");
    EXPECT_NE(signInRequired(*page, from).find("invalid_grant"), std::string::npos);

    // Cancelled by the page, then by the user closing the window.
    from = page->seen().size();
    url = beginSignIn(*page, "", false);
    EXPECT_EQ(SignedInHost::field(page->call("cancelSingleSignOn", "{}"), "error"), "");
    EXPECT_EQ(authResult(*page, from), "NotAuthenticated/Cancelled");
    EXPECT_NE(
        page->waitForEventFrom("ssoshowwindow", from, [](const ptree& c) { return c.get("show", "") == "false"; }),
        SignedInHost::npos);
    EXPECT_NE(page->waitForEventFrom("cancancelsinglesignonchanged", from,
                                     [](const ptree& c) { return c.get("cancancel", "") == "false"; }),
              SignedInHost::npos);
    EXPECT_EQ(SignedInHost::field(page->call("cancelSingleSignOn", "{}"), "error"), "eInvalidState");
    EXPECT_EQ(SignedInHost::field(page->call("cancelSingleSignOn", "{\"now\": true}"), "error"), "eSyntaxError");
    from = page->seen().size();
    url = beginSignIn(*page, "", false);
    EXPECT_EQ(SignedInHost::field(completed(*page, "", 1), "error"), "");
    EXPECT_EQ(authResult(*page, from), "NotAuthenticated/Cancelled");

    // None of it signed anybody in, and the page can still sign in.
    EXPECT_EQ(page->waitForEventFrom("loggedin", 0, nullptr, nullptr, 10ms), SignedInHost::npos);
    from = page->seen().size();
    url = beginSignIn(*page, "", false);
    back = idp->signInAt(url, "dave", "dave-pw");
    EXPECT_EQ(SignedInHost::field(completed(*page, back), "error"), "");
    EXPECT_NE(page->waitForEventFrom("loggedin", from, nullptr, nullptr, 20s), SignedInHost::npos)
        << page->host().logText();
}

TEST_F(HostSsoTest, SessionExpiryPromptsUnlessSuppressedAndIsReestablished) {
    // Access for 5 s and no refresh token: the session ends by itself.
    auto idp = provider(600, 5, false);
    auto page = host(*idp);
    size_t from = page->seen().size();
    std::string url = beginSignIn(*page, "erin@sip.test");
    ASSERT_EQ(SignedInHost::field(completed(*page, idp->signInAt(url, "erin", "erin-pw", false, "erin")), "error"), "");
    ASSERT_NE(page->waitForEventFrom("loggedin", from, nullptr, nullptr, 20s), SignedInHost::npos)
        << page->host().logText();
    EXPECT_LE(std::stol(SignedInHost::field(page->call("getSSOSessionTimeRemaining", "{}"), "content.time")), 5);
    EXPECT_EQ(SignedInHost::field(page->call("getSSOSessionTimeRemaining", "{\"x\": 1}"), "error"), "eSyntaxError");

    ASSERT_NE(page->waitForEventFrom("ssosessionexpirypromptrequired", from, nullptr, nullptr, 10s),
              SignedInHost::npos);
    EXPECT_NE(page->waitForEventFrom("lifecyclessosessionchanged", from,
                                     [](const ptree& c) { return c.data() == "Expired"; }),
              SignedInHost::npos);
    EXPECT_EQ(SignedInHost::field(page->call("getSSOSessionTimeRemaining", "{}"), "content.time"), "0");

    // Re-established without typing the address; the provider's own session
    // answers, so the password given here is never asked for.
    from = page->seen().size();
    ASSERT_EQ(SignedInHost::field(page->call("restablishSSOSession", "{}"), "error"), "");
    url = navigateTo(*page, from);
    const std::string back = idp->signInAt(url, "erin", "not-the-password", false, "erin");
    ASSERT_FALSE(back.empty()) << idp->error();
    EXPECT_EQ(SignedInHost::field(completed(*page, back), "error"), "");
    EXPECT_EQ(authResult(*page, from), "Authenticated/Success");
    EXPECT_NE(
        page->waitForEventFrom("lifecyclessosessionchanged", from, [](const ptree& c) { return c.data() == "Valid"; }),
        SignedInHost::npos);

    // Suppressed: the session ends without a prompt, until the page asks for it.
    ASSERT_EQ(SignedInHost::field(page->call("suppressSSOSessionExpiryPrompt", "{}"), "error"), "");
    from = page->seen().size();
    ASSERT_NE(
        page->waitForEventFrom(
            "lifecyclessosessionchanged", from, [](const ptree& c) { return c.data() == "Expired"; }, nullptr, 10s),
        SignedInHost::npos);
    EXPECT_EQ(page->waitForEventFrom("ssosessionexpirypromptrequired", from, nullptr, nullptr, 1s), SignedInHost::npos);
    EXPECT_EQ(SignedInHost::field(page->call("unsuppressSSOSessionExpiryPrompt", "{}"), "error"), "eInvalidArgument");
    ASSERT_EQ(
        SignedInHost::field(page->call("unsuppressSSOSessionExpiryPrompt", "{\"promptIfExpired\": true}"), "error"),
        "");
    EXPECT_NE(page->waitForEventFrom("ssosessionexpirypromptrequired", from, nullptr, nullptr, 5s), SignedInHost::npos);
}

TEST_F(HostSsoTest, KeptSessionSignsInAfterARestartUntilTheProviderEndsIt) {
    // Access for 8 s, renewed with the refresh token before it ends.
    auto idp = provider(600, 8, true);
    auto first = host(*idp);
    {
        const size_t from = first->seen().size();
        const std::string url = beginSignIn(*first, "dave@sip.test");
        ASSERT_EQ(SignedInHost::field(completed(*first, idp->signInAt(url, "dave", "dave-pw")), "error"), "");
        ASSERT_NE(first->waitForEventFrom("loggedin", from, nullptr, nullptr, 20s), SignedInHost::npos);
        first->host().closeInput();
        ASSERT_EQ(first->host().waitExit(10s), 0);
    }
    const std::string home = first->host().home();
    // The next run signs the same address in with no window at all.
    auto page = host(*idp, home, first->host().configHome());
    size_t from = page->seen().size();
    ASSERT_EQ(SignedInHost::field(page->call("startSignIn", "{}"), "error"), "");
    ASSERT_NE(page->waitForEventFrom("userprofileemailaddressrequired", from, nullptr), SignedInHost::npos);
    ASSERT_EQ(SignedInHost::field(page->call("setUserProfileEmailAddress", "{\"email\": \"dave@sip.test\"}"), "error"),
              "");
    ASSERT_NE(page->waitForEventFrom("loggedin", from, nullptr, nullptr, 20s), SignedInHost::npos)
        << page->host().logText();
    EXPECT_EQ(page->waitForEventFrom("ssonavigateto", from, nullptr, nullptr, 10ms), SignedInHost::npos);

    // The provider ends every session of the user: at the next refresh the
    // page is told to forget the sign-in.
    ASSERT_TRUE(idp->revoke("dave")) << idp->error();
    EXPECT_NE(page->waitForEventFrom("ssoinvokeresetdata", from, nullptr, nullptr, 15s), SignedInHost::npos)
        << page->host().logText();
    const std::string kept = home + "/state/Marlin Web SDK/zep/sso-session.json";
    EXPECT_FALSE(pelatest::exists(kept));

    // resetData forgets the rest; the address is asked for again.
    ASSERT_EQ(SignedInHost::field(page->call("resetData", "{}"), "error"), "");
    EXPECT_EQ(SignedInHost::field(page->call("getSSOSessionTimeRemaining", "{}"), "content.time"), "0");
    EXPECT_EQ(SignedInHost::field(page->call("restablishSSOSession", "{}"), "error"), "eInvalidState");
}

}  // namespace
