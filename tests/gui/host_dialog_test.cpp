// The built host asking a real user: its dialog on a private Xvfb server,
// answered with key presses, while a page waits on the host's pipes.
#include <thread>

#include <gtest/gtest.h>

#include "HostProcess.h"
#include "Xvfb.h"

using namespace pelatest;
using namespace std::chrono_literals;
using tessel::test::Xvfb;

namespace {

const char* const kTitle = "Allow access to microphone and camera?";

class HostDialogTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_xvfb = new Xvfb();
        ASSERT_TRUE(s_xvfb->start()) << s_xvfb->error();
        s_xvfb->exportEnvironment();
    }
    static void TearDownTestSuite() {
        delete s_xvfb;
        s_xvfb = nullptr;
    }

    HostProcess::Options options(const std::string& configHome) {
        HostProcess::Options o;
        o.display = s_xvfb->display();
        o.configHome = configHome;
        o.extraEnv["LANG"] = "en_US.UTF-8";
        return o;
    }

    // Asks for authorization and returns the dialog's window id.
    std::string askAndFindDialog(HostProcess& host, const std::string& id, const std::string& site) {
        auto init = call(host, id, site, "init", id + "-i");
        EXPECT_EQ(init.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content.userauthstatus", ""),
                  "MustShowAuth");
        auto shown = call(host, id, site, "showUserAuthorization", id + "-s");
        EXPECT_EQ(serverField(shown, "error"), "");
        return Xvfb::waitForWindow(kTitle, 15s);
    }

    // The "userauthorized" event's content for the page, or "" when none came.
    std::string authorizedEvent(HostProcess& host, const std::string& id, std::vector<std::string>* seen) {
        std::string content;
        host.receiveUntil(
            [&](const boost::property_tree::ptree& m) {
                if (!isEvent(m, "userauthorized") || m.get<std::string>("norvaChannelMessage.client.id", "") != id) {
                    return false;
                }
                content = m.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content", "");
                return true;
            },
            15s, seen);
        return content;
    }

    static Xvfb* s_xvfb;
};

Xvfb* HostDialogTest::s_xvfb = nullptr;

TEST_F(HostDialogTest, AlwaysAllowAuthorizesStartsTheFrameworkAndIsRememberedForTheSite) {
    TempDir config;
    {
        HostProcess host(options(config.path()));
        const std::string window = askAndFindDialog(host, "p1", "Phone.Example.net");
        ASSERT_FALSE(window.empty()) << "no dialog appeared";
        ASSERT_TRUE(Xvfb::typeInto(window, "alt+l"));

        std::vector<std::string> seen;
        EXPECT_EQ(authorizedEvent(host, "p1", &seen), "true");
        ASSERT_TRUE(host.receiveUntil(
            [](const boost::property_tree::ptree& m) { return isEvent(m, "multimediacapabilitiesstarted"); }, 15s));
        auto status = call(host, "p1", "Phone.Example.net", "getUserAuthStatus", "p1-g");
        EXPECT_EQ(status.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content", ""), "UserAuthorized");
        const std::string prefs = readFile(config.path() + "/com.norva.Tollbridge/preferences.json");
        EXPECT_NE(prefs.find("\"AlwaysAllow_Phone.Example.net\": true"), std::string::npos) << prefs;
    }

    // A later host process trusts the site without asking again.
    HostProcess again(options(config.path()));
    auto init = call(again, "p9", "Phone.Example.net", "init", "p9-i");
    EXPECT_EQ(init.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content.userauthstatus", ""),
              "UserAuthorized");
    EXPECT_TRUE(Xvfb::waitForWindow(kTitle, 1s).empty());
}

TEST_F(HostDialogTest, AllowOnceAndDenyAreNotRemembered) {
    TempDir config;
    HostProcess host(options(config.path()));

    std::string window = askAndFindDialog(host, "yes", "once.example.net");
    ASSERT_FALSE(window.empty());
    ASSERT_TRUE(Xvfb::typeInto(window, "alt+a"));
    EXPECT_EQ(authorizedEvent(host, "yes", nullptr), "true");

    window = askAndFindDialog(host, "no", "never.example.net");
    ASSERT_FALSE(window.empty());
    ASSERT_TRUE(Xvfb::typeInto(window, "alt+d"));
    EXPECT_EQ(authorizedEvent(host, "no", nullptr), "false");
    EXPECT_EQ(serverField(call(host, "no", "never.example.net", "getCalls", "no-c", "{}"), "error"),
              "eNotUserAuthorized");

    const std::string prefs = readFile(config.path() + "/com.norva.Tollbridge/preferences.json");
    EXPECT_EQ(prefs.find("once.example.net"), std::string::npos);
    EXPECT_EQ(prefs.find("never.example.net"), std::string::npos);
}

TEST_F(HostDialogTest, APageLeavingWhileAskedTakesItsDialogAway) {
    TempDir config;
    HostProcess host(options(config.path()));
    const std::string window = askAndFindDialog(host, "gone", "leaving.example.net");
    ASSERT_FALSE(window.empty());
    host.send(disconnect("gone"));

    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!Xvfb::waitForWindow(kTitle, 200ms).empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_TRUE(Xvfb::waitForWindow(kTitle, 200ms).empty()) << "dialog still on screen";
    // The host carries on serving other pages.
    EXPECT_EQ(serverField(call(host, "other", "other.example.net", "getVersion", "o-v"), "error"), "");
}

}  // namespace
