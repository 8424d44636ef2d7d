// Sign-in through the built host over its pipes, against a real registrar on
// loopback, as a page does it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

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
        ASSERT_EQ(SignedInHost::field(page.call("setUserProfileEmailAddress", "{\"email\": \"" + address + "\"}"),
                                      "error"),
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

    // The rest of the success events follow "loggedin".
    for (const char* name : {"authenticationresult", "lifecyclestatechanged", "connectionstatuschange",
                             "telephonydeviceschange", "callcontrolmodechange"}) {
        auto names = page.eventNames();
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            EXPECT_TRUE(page.waitForEvent(name, 20s)) << name;
        }
    }
    auto names = page.eventNames();
    auto loggedIn = std::find(names.begin(), names.end(), "loggedin");
    ASSERT_NE(loggedIn, names.end());
    EXPECT_EQ(std::find(names.begin(), names.end(), "userprofilecredentialsrequired") < loggedIn, true);

    EXPECT_NE(SignedInHost::field(page.call("getProperty", "\"connectionStatus\""), "content.connectionStatus"), "");
    EXPECT_NE(SignedInHost::field(page.call("getProperty", "\"mode\""), "content.mode"), "");
    ptree device = page.call("getProperty", "\"device\"");
    EXPECT_EQ(SignedInHost::field(device, "content.device.exists"), "true");
    ptree line = page.call("getProperty", "\"line\"");
    EXPECT_EQ(SignedInHost::field(line, "error"), "");
    EXPECT_NE(line.get_child("norvaChannelMessage.norvaSDKServerMessage.content.line").size(), 0u);

    ptree devices = page.call("getAvailableDevices");
    const ptree& list = devices.get_child("norvaChannelMessage.norvaSDKServerMessage.content.devices");
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list.front().second.get<std::string>("isSoftPhone", ""), "true");
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
    sendCredentials(page, prompt, "alice", "wrong-" + sip.password("alice"));
    ASSERT_TRUE(page.waitForEvent("userprofilecredentialsrequired", 20s, &prompt));
    EXPECT_NE(prompt.get_child("norvaChannelMessage.norvaSDKServerMessage.content.errors").size(), 0u);

    sendCredentials(page, prompt, "alice", sip.password("alice"));
    EXPECT_TRUE(page.waitForEvent("loggedin", 20s));
}

TEST_F(HostSignInTest, RegistrarDownThenBack) {
    SignedInHost page(sip);
    ASSERT_TRUE(page.start("tcp")) << page.why();
    sip.stop();
    ptree prompt;
    promptFor(page, "bob@" + sip.domain(), &prompt);
    sendCredentials(page, prompt, "bob", sip.password("bob"));
    ptree failure;
    ASSERT_TRUE(page.waitForEvent("connectionfailure", 20s, &failure));

    ASSERT_TRUE(sip.restart()) << sip.error();
    // The framework retries with back-off; bounded well above its longest pause.
    EXPECT_TRUE(page.waitForEvent("loggedin", 60s));
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
