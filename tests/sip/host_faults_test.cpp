// Faults a page never sees coming, through the built host: the network's
// registrar going away during a call, the far end vanishing, a full disk
// under the log and an engine config file full of garbage.

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "HostProcess.h"
#include "KamailioFixture.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;
using namespace std::chrono_literals;

namespace {

class HostFaultsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sip.start()) << sip.error(); }

    void signIn(const std::string& engineConfig = "") {
        page = std::make_unique<SignedInHost>(sip);
        if (!engineConfig.empty()) page->setEngineConfig(engineConfig);
        ASSERT_TRUE(page->start()) << page->why();
        ASSERT_TRUE(page->signIn("alice")) << page->why();
    }
    // Bob over UDP: a phone over TCP behind a restarted proxy can only be
    // reached again once it has opened a new connection itself.
    void startBob() {
        SipPeer::Options options;
        options.name = "bob";
        options.autoAnswer = true;
        bob = std::make_unique<SipPeer>(options);
        ASSERT_TRUE(bob->start()) << bob->error();
        ASSERT_TRUE(bob->registerAs(sip, "bob", "udp")) << bob->logText();
    }
    // A call to bob, connected on both sides; its id.
    int callBob() {
        const size_t from = page->seen().size();
        ptree reply = page->call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"Inactive\"}");
        const int id = std::atoi(SignedInHost::field(reply, "content.callId").c_str());
        EXPECT_GT(id, 0);
        EXPECT_TRUE(page->waitForCallState("Connected", from)) << "the call did not connect";
        return id;
    }
    // An "Idle" among what was read since from; reads nothing more.
    bool endedSince(size_t from) {
        return page->waitForEventFrom(
                   "callstatechange", from,
                   [](const ptree& c) { return c.get<std::string>("callState", "") == "Idle"; }, nullptr,
                   0ms) != SignedInHost::npos;
    }

    KamailioFixture sip;
    std::unique_ptr<SignedInHost> page;
    std::unique_ptr<SipPeer> bob;
};

TEST_F(HostFaultsTest, RegistrarDownThenUpDuringACallKeepsTheCallAndTheLineComesBack) {
    signIn();
    startBob();
    const int id = callBob();
    const size_t from = page->seen().size();

    sip.stop();
    // The line notices (its TCP connection is gone); the call, peer to peer, goes on.
    ptree status;
    EXPECT_NE(page->waitForEventFrom("connectionstatuschange", from, {}, &status, 15s), SignedInHost::npos);
    std::this_thread::sleep_for(2s);
    EXPECT_FALSE(endedSince(from)) << "the call ended with the registrar";

    ASSERT_TRUE(sip.restart()) << sip.error();
    // Retried within the backoff (2, 4, 8 s): the line is back, and the call still answers.
    EXPECT_NE(page->waitForEventFrom(
                  "connectionstatuschange", from,
                  [](const ptree& c) { return c.get_value<std::string>() == "Connected"; }, nullptr, 30s),
              SignedInHost::npos)
        << "the line did not come back";
    const size_t beforeHold = page->seen().size();
    ptree held = page->call("hold", "{\"callId\": " + std::to_string(id) + "}");
    EXPECT_EQ(SignedInHost::field(held, "error"), "");
    EXPECT_TRUE(page->waitForCallState("Hold", beforeHold));
    EXPECT_FALSE(endedSince(from));
}

TEST_F(HostFaultsTest, AFarEndThatVanishesEndsTheCallAfterTheRtpTimeout) {
    // The product's timeout is the engine's 30 s; a short one keeps the test short.
    signIn("[rtp]\nnortp_timeout=3\n");
    startBob();
    callBob();
    const size_t from = page->seen().size();
    const auto vanished = std::chrono::steady_clock::now();
    bob->vanish();
    ptree call;
    ASSERT_TRUE(page->waitForEventFrom(
                    "callstatechange", from,
                    [](const ptree& c) { return c.get<std::string>("callState", "") == "Idle"; }, &call,
                    20s) != SignedInHost::npos)
        << "the call outlived its far end";
    const auto took = std::chrono::steady_clock::now() - vanished;
    EXPECT_GE(took, 2s) << "ended before the timeout: something else ended it";
    EXPECT_TRUE(
        page->call("getCalls").get_child("norvaChannelMessage.norvaSDKServerMessage.content.calls", ptree()).empty());
}

TEST_F(HostFaultsTest, GarbageInTheEngineConfigDoesNotStopThePhone) {
    std::string garbage = "[sip\n\x01\x02\xff\xfe=\n[rtp]\naudio_rtp_port=not a port\n[[[\n";
    garbage += std::string(4096, '\0');
    signIn(garbage);
    startBob();
    callBob();
}

TEST(HostLogFaultsTest, ALogOnAFullDiskLeavesTheHostWorkingWithoutALog) {
    pelatest::TempDir home;
    const std::string folder = home.path() + "/state/Marlin Web SDK";
    std::filesystem::create_directories(folder);
    // Every write to it fails with "no space left on device".
    ASSERT_EQ(symlink("/dev/full", (folder + "/softphone.log").c_str()), 0);
    pelatest::HostProcess::Options options;
    options.home = home.path();
    pelatest::HostProcess host(options);
    for (int i = 0; i < 20; ++i) {
        const std::string id = "v" + std::to_string(i);
        host.send(pelatest::request("page-1", "any.example", "getVersion", id));
        ASSERT_TRUE(host.receiveUntil([&](const ptree& m) { return pelatest::isReplyTo(m, id); }, 10s))
            << "request " << i << " got no reply";
    }
    host.closeInput();
    EXPECT_EQ(host.waitExit(10s), 0);
}

}  // namespace
