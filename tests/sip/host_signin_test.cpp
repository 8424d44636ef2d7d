// Sign-in through the built host over its pipes, against a real registrar on
// loopback, as a page does it.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "../../src/zepwrapper/src/PasswordVault.h"
#include "KamailioFixture.h"
#include "SignedInHost.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;

namespace {

class HostSignInTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sip.start()) << sip.error(); }

    // Up to the credentials prompt, answering the e-mail prompt with address.
    void promptFor(SignedInHost& page, const std::string& address, ptree* credentialsEvent) {
        ASSERT_EQ(SignedInHost::field(page.call("startSignIn", "{}"), "error"), "");
        ASSERT_TRUE(page.waitForEvent("userprofileemailaddressrequired", 20s));
        ASSERT_EQ(
            SignedInHost::field(page.call("setUserProfileEmailAddress", "{\"email\": \"" + address + "\"}"), "error"),
            "");
        ASSERT_TRUE(page.waitForEvent("userprofilecredentialsrequired", 20s, credentialsEvent));
    }

    static void sendCredentials(SignedInHost& page, const ptree& prompt, const std::string& user,
                                const std::string& password) {
        const std::string id = SignedInHost::field(prompt, "content.authenticatorId");
        ptree reply = page.call("setUserProfileCredentials", "{\"authenticator\": " + (id.empty() ? "0" : id) +
                                                                 ", \"username\": \"" + user + "\", \"password\": \"" +
                                                                 password + "\"}");
        EXPECT_EQ(SignedInHost::field(reply, "error"), "");
    }

    KamailioFixture sip;
};

// Every regular file under folder whose text contains needle.
std::vector<std::string> filesContaining(const std::string& folder, const std::string& needle) {
    std::vector<std::string> hits;
    std::error_code ec;
    for (auto it = std::filesystem::recursive_directory_iterator(folder, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        if (!it->is_regular_file(ec)) {
            continue;
        }
        std::ifstream in(it->path(), std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        if (text.str().find(needle) != std::string::npos) {
            hits.push_back(it->path().string());
        }
    }
    return hits;
}

}  // namespace

TEST_F(HostSignInTest, FullSignInReportsStateDeviceAndLine) {
    SignedInHost page(sip);
    ASSERT_TRUE(page.start()) << page.why();
    ASSERT_TRUE(page.signIn("alice")) << page.why();
    ASSERT_TRUE(page.waitForEvent("callcontrolmodechange", 20s));

    // The success events come in the order pages rely on, each once.
    const std::vector<std::string> expected = {"loggedin",
                                               "authenticationresult",
                                               "lifecyclestatechanged",
                                               "connectionstatuschange",
                                               "telephonydeviceschange",
                                               "callcontrolmodechange"};
    std::vector<std::string> tail;
    auto names = page.eventNames();
    auto loggedIn = std::find(names.begin(), names.end(), "loggedin");
    ASSERT_NE(loggedIn, names.end());
    EXPECT_NE(std::find(names.begin(), loggedIn, "userprofilecredentialsrequired"), loggedIn);
    for (auto it = loggedIn; it != names.end(); ++it) {
        if (std::find(expected.begin(), expected.end(), *it) != expected.end()) tail.push_back(*it);
    }
    EXPECT_EQ(tail, expected);

    EXPECT_EQ(SignedInHost::field(page.call("getProperty", "\"connectionStatus\""), "content.connectionStatus"),
              "Connected");
    EXPECT_EQ(SignedInHost::field(page.call("getProperty", "\"mode\""), "content.mode"), "SoftPhone");
    ptree device = page.call("getProperty", "\"device\"");
    EXPECT_EQ(SignedInHost::field(device, "content.device.exists"), "true");
    EXPECT_EQ(SignedInHost::field(device, "content.device.name"), "softphone:alice@" + sip.domain());
    ptree line = page.call("getProperty", "\"line\"");
    EXPECT_EQ(SignedInHost::field(line, "error"), "");
    EXPECT_NE(line.get_child("norvaChannelMessage.norvaSDKServerMessage.content.line").size(), 0u);

    ptree devices = page.call("getAvailableDevices");
    const ptree& list = devices.get_child("norvaChannelMessage.norvaSDKServerMessage.content.devices");
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list.front().second.get<std::string>("isSoftPhone", ""), "true");
}

TEST_F(HostSignInTest, ServerListsAndEncryptedPasswords) {
    SignedInHost page(sip);
    ASSERT_TRUE(page.start()) << page.why();

    // A registrar list whose first entry answers nobody: sign-in fails over.
    ptree set = page.call("setProperty", "{\"LoryAddressList\": [\"127.0.0.1:9;transport=tcp\", \"" + sip.hostPort() +
                                             ";transport=tcp\"]}");
    EXPECT_EQ(SignedInHost::field(set, "error"), "");
    EXPECT_EQ(SignedInHost::field(set, "content.LoryAddressList"), "");  // an array, echoed
    EXPECT_EQ(set.get_child("norvaChannelMessage.norvaSDKServerMessage.content.LoryAddressList").size(), 2u);
    ASSERT_TRUE(page.signIn("bob")) << page.why();

    EXPECT_EQ(SignedInHost::field(page.call("setProperty", "{\"TftpAddressList\": [\"127.0.0.9:9\"]}"), "error"), "");
    EXPECT_EQ(SignedInHost::field(page.call("setProperty", "{\"CtiAddressList\": [\"cti.sip.test\"]}"), "error"), "");
    for (const char* bad : {"{\"PhoneBookList\": [\"x\"]}", "{\"CtiAddressList\": [{\"a\": 1}]}",
                            "{\"CtiAddressList\": [\"a\"], \"TftpAddressList\": [\"b\"]}"}) {
        EXPECT_EQ(SignedInHost::field(page.call("setProperty", bad), "error"), "eSyntaxError") << bad;
    }
    const std::string log = page.host().logText();
    EXPECT_NE(log.find("127.0.0.9:9"), std::string::npos);
    EXPECT_NE(log.find("cti.sip.test"), std::string::npos);

    // Each encryption of the same password is new, and both open again
    // under the key the host keeps in the user's config folder.
    const std::string a = SignedInHost::field(page.call("encryptPboxPassword", "\"s3cret\""), "content");
    const std::string b = SignedInHost::field(page.call("encryptPboxPassword", "\"s3cret\""), "content");
    ASSERT_FALSE(a.empty());
    EXPECT_NE(a, b);
    ::setenv("XDG_CONFIG_HOME", page.host().configHome().c_str(), 1);
    for (const std::string& text : {a, b}) {
        std::string plain;
        std::string error;
        EXPECT_TRUE(tessel::zep::PasswordVault::decrypt(text, plain, error)) << error;
        EXPECT_EQ(plain, "s3cret");
    }
    ::unsetenv("XDG_CONFIG_HOME");
}

TEST_F(HostSignInTest, WrongPasswordAsksAgainAndMalformedAddressIsRefused) {
    SignedInHost page(sip);
    ASSERT_TRUE(page.start()) << page.why();

    ASSERT_EQ(SignedInHost::field(page.call("startSignIn", "{}"), "error"), "");
    ptree prompt;
    ASSERT_TRUE(page.waitForEvent("userprofileemailaddressrequired", 20s));
    page.call("setUserProfileEmailAddress", "{\"email\": \"not an address\"}");
    ASSERT_TRUE(page.waitForEvent("userprofileemailaddressrequired", 20s, &prompt));
    EXPECT_NE(prompt.get_child("norvaChannelMessage.norvaSDKServerMessage.content.errors").size(), 0u);

    page.call("setUserProfileEmailAddress", "{\"email\": \"alice@" + sip.domain() + "\"}");
    ASSERT_TRUE(page.waitForEvent("userprofilecredentialsrequired", 20s, &prompt));
    const ptree firstPrompt = prompt;
    sendCredentials(page, prompt, "alice", "wrong-" + sip.password("alice"));
    ptree result;
    ASSERT_TRUE(page.waitForEvent("authenticationresult", 20s, &result));
    EXPECT_EQ(SignedInHost::field(result, "content.result"), "InvalidCredentials");
    ASSERT_TRUE(page.waitForEvent("userprofilecredentialsrequired", 20s, &prompt));
    const ptree& errors = prompt.get_child("norvaChannelMessage.norvaSDKServerMessage.content.errors");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors.front().second.get<std::string>("error", "").find("wrong user name or password"),
              std::string::npos);

    // Only the newest prompt may be answered.
    const std::string staleId = SignedInHost::field(firstPrompt, "content.authenticatorId");
    EXPECT_EQ(SignedInHost::field(page.call("setUserProfileCredentials", "{\"authenticator\": " + staleId +
                                                                             ", \"username\": \"alice\", "
                                                                             "\"password\": \"" +
                                                                             sip.password("alice") + "\"}"),
                                  "error"),
              "eInvalidArgument");
    sendCredentials(page, prompt, "alice", sip.password("alice"));
    EXPECT_TRUE(page.waitForEvent("loggedin", 20s));
}

TEST_F(HostSignInTest, RegistrarDownIsRetriedAfter2Then4Then8SecondsUntilItIsBack) {
    SignedInHost page(sip);
    ASSERT_TRUE(page.start("tcp")) << page.why();
    sip.stop();
    ptree prompt;
    promptFor(page, "bob@" + sip.domain(), &prompt);
    // The first failure may come in while the credentials' reply is awaited.
    const size_t from = page.seen().size();
    sendCredentials(page, prompt, "bob", sip.password("bob"));
    auto unreachable = [&] {
        size_t n = 0;
        for (size_t i = from; i < page.seen().size(); ++i) {
            ptree m = pelatest::parseJson(page.seen()[i]);
            n += pelatest::isEvent(m, "connectionfailure") &&
                 SignedInHost::field(m, "content").rfind("ServerUnreachable", 0) == 0;
        }
        return n;
    };
    std::vector<std::chrono::steady_clock::time_point> failures;
    for (const auto deadline = std::chrono::steady_clock::now() + 40s;
         failures.size() < 4 && std::chrono::steady_clock::now() < deadline;) {
        for (size_t n = unreachable(); failures.size() < n;) failures.push_back(std::chrono::steady_clock::now());
        if (failures.size() < 4) page.waitForEvent("connectionfailure", 1s);
    }
    ASSERT_EQ(failures.size(), 4u);
    // The host pumps every millisecond, so each gap is the pause plus a refused connect.
    for (size_t i = 1; i < failures.size(); ++i) {
        const auto pause = std::chrono::seconds(1 << i);
        EXPECT_GE(failures[i] - failures[i - 1], pause - 100ms) << "pause " << i;
        EXPECT_LT(failures[i] - failures[i - 1], pause + 1500ms) << "pause " << i;
    }

    ASSERT_TRUE(sip.restart()) << sip.error();
    // Bounded well above the longest pause.
    EXPECT_TRUE(page.waitForEvent("loggedin", 60s));
    EXPECT_EQ(SignedInHost::field(page.call("getProperty", "\"connectionStatus\""), "content.connectionStatus"),
              "Connected");
}

TEST_F(HostSignInTest, LogoutAndResetData) {
    SignedInHost page(sip);
    ASSERT_TRUE(page.start()) << page.why();
    ASSERT_TRUE(page.signIn("carol")) << page.why();

    EXPECT_EQ(SignedInHost::field(page.call("logout"), "error"), "");
    EXPECT_EQ(SignedInHost::field(page.call("getProperty", "\"connectionStatus\""), "content.connectionStatus"),
              "Disconnected");
    ASSERT_TRUE(page.signIn("carol")) << page.why();

    EXPECT_EQ(SignedInHost::field(page.call("resetData", "{}"), "error"), "");
    // Forgotten: the address is asked for again.
    ASSERT_EQ(SignedInHost::field(page.call("startSignIn", "{}"), "error"), "");
    EXPECT_TRUE(page.waitForEvent("userprofileemailaddressrequired", 20s));
}

TEST_F(HostSignInTest, PasswordNeverReachesLogOrDisk) {
    const std::string secret = sip.password("alice");
    ASSERT_FALSE(secret.empty());
    std::string home;
    std::string config;
    {
        SignedInHost page(sip);
        ASSERT_TRUE(page.start()) << page.why();
        ASSERT_TRUE(page.signIn("alice")) << page.why();
        page.call("encryptPboxPassword", "\"" + secret + "\"");
        page.call("logout");
        home = page.host().home();
        config = page.host().configHome();
        page.host().closeInput();
        EXPECT_EQ(page.host().waitExit(20s), 0);
        EXPECT_EQ(page.host().logText().find(secret), std::string::npos);
        EXPECT_EQ(filesContaining(home, secret), std::vector<std::string>());
        EXPECT_EQ(filesContaining(config, secret), std::vector<std::string>());
    }
}

TEST(HostSignInRealmTest, ARegistrarWithItsOwnRealmSignsInAndKeepsOnlyTheDigest) {
    // A PBX's default realm, not the SIP domain the address names.
    KamailioFixture pbx;
    pbx.setRealm("asterisk");
    ASSERT_TRUE(pbx.start()) << pbx.error();
    const std::string secret = pbx.password("bob");
    SignedInHost page(pbx);
    ASSERT_TRUE(page.start()) << page.why();
    // A wrong password is still refused as one, in that realm too.
    const size_t from = page.seen().size();
    page.call("startSignIn", "{}");
    ASSERT_NE(page.waitForEventFrom("userprofileemailaddressrequired", from, nullptr), SignedInHost::npos);
    page.call("setUserProfileEmailAddress", "{\"email\": \"bob@" + pbx.domain() + "\"}");
    ptree asked;
    ASSERT_NE(page.waitForEventFrom("userprofilecredentialsrequired", from, nullptr, &asked), SignedInHost::npos);
    page.call("setUserProfileCredentials", "{\"authenticator\": " + asked.get<std::string>("authenticatorId") +
                                               ", \"username\": \"\", \"password\": \"not-" + secret + "\"}");
    ptree again;
    ASSERT_NE(page.waitForEventFrom(
                  "userprofilecredentialsrequired", from,
                  [](const ptree& c) { return c.get_child("errors").size() == 1; }, &again),
              SignedInHost::npos);
    EXPECT_NE(again.get_child("errors").front().second.get<std::string>("error").find("wrong user name or password"),
              std::string::npos);
    ASSERT_TRUE(page.signIn("bob")) << page.why() << page.host().logText() << pbx.logText();

    // The engine keeps the digest for the registrar's realm, never the password.
    const std::string home = page.host().home();
    page.host().closeInput();
    EXPECT_EQ(page.host().waitExit(20s), 0);
    const std::string rc = pelatest::readFile(home + "/state/Marlin Web SDK/zep/linphonerc");
    EXPECT_NE(rc.find("realm=asterisk"), std::string::npos) << rc;
    EXPECT_NE(rc.find("ha1="), std::string::npos) << rc;
    EXPECT_EQ(page.host().logText().find(secret), std::string::npos);
    EXPECT_EQ(filesContaining(home, secret), std::vector<std::string>());
}
