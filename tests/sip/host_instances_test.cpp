// Two browsers (or two profiles) of one user each start a host: the second
// must neither corrupt the first's files nor fight over the SIP account; it
// tells its pages why it cannot run the phone, and takes over once the first
// has gone.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "HostProcess.h"
#include "KamailioFixture.h"
#include "SignedInHost.h"

using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using namespace std::chrono_literals;

namespace {

TEST(HostInstancesTest, ASecondHostSaysWhyItCannotRunThePhoneAndTakesOverWhenTheFirstEnds) {
    KamailioFixture sip;
    ASSERT_TRUE(sip.start()) << sip.error();
    SignedInHost first(sip);
    ASSERT_TRUE(first.start()) << first.why();
    ASSERT_TRUE(first.signIn("alice")) << first.why();
    const std::string firstLog = first.host().logText();

    pelatest::HostProcess::Options options;
    options.home = first.host().home();
    options.configHome = first.host().configHome();
    pelatest::HostProcess second(options);
    second.send(pelatest::request("page-2", SignedInHost::kSite, "init", "init-1"));
    std::string reason;
    bool started = false;
    ASSERT_TRUE(second.receiveUntil(
        [&](const ptree& m) {
            started = started || pelatest::isEvent(m, "multimediacapabilitiesstarted");
            if (!pelatest::isEvent(m, "connectionfailure")) return false;
            reason = pelatest::serverField(m, "content");
            return true;
        },
        20s))
        << "the second host's page was never told";
    EXPECT_FALSE(started);
    EXPECT_NE(reason.find("another softphone host (pid " + std::to_string(first.host().pid()) + ")"), std::string::npos)
        << reason;
    // Its page cannot use the phone meanwhile, and hears so as a code.
    second.send(pelatest::request("page-2", SignedInHost::kSite, "startSignIn", "s-1", "{}"));
    ptree refused;
    ASSERT_TRUE(
        second.receiveUntil([&](const ptree& m) { return pelatest::isReplyTo(m, "s-1") && (refused = m, true); }, 10s));
    EXPECT_FALSE(pelatest::serverField(refused, "error").empty());

    // The first host goes on as if alone: its line, its log.
    ptree line = first.call("getProperty", "\"connectionStatus\"");
    EXPECT_EQ(SignedInHost::field(line, "content.connectionStatus"), "Connected");
    const std::string secondLogPath = options.home + "/state/Marlin Web SDK/softphone-2.log";
    EXPECT_NE(pelatest::readFile(secondLogPath).find("in use: pid " + std::to_string(first.host().pid())),
              std::string::npos)
        << "the second host logs to a file of its own";
    const std::string firstLogNow = first.host().logText();
    EXPECT_EQ(firstLogNow.compare(0, firstLog.size(), firstLog), 0) << "the first log was rewritten";
    EXPECT_EQ(firstLogNow.find("in use"), std::string::npos);

    // The first browser closes: the next request of the second's page starts the phone there.
    first.host().closeInput();
    ASSERT_EQ(first.host().waitExit(10s), 0);
    second.send(pelatest::request("page-2", SignedInHost::kSite, "init", "init-2"));
    EXPECT_TRUE(
        second.receiveUntil([](const ptree& m) { return pelatest::isEvent(m, "multimediacapabilitiesstarted"); }, 20s));
    second.closeInput();
    EXPECT_EQ(second.waitExit(10s), 0);
}

}  // namespace
