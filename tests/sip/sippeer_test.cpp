// The test phone itself: long tests rely on it answering whether or not
// anybody reads what it reports.

#include "SipPeer.h"

#include <chrono>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "KamailioFixture.h"

using tessel::test::KamailioFixture;
using tessel::test::SipPeer;
using namespace std::chrono_literals;

namespace {

SipPeer::Options phone(const std::string& name, bool autoAnswer) {
    SipPeer::Options options;
    options.name = name;
    options.autoAnswer = autoAnswer;
    options.paceMs = 1;
    return options;
}

TEST(SipPeerTest, APhoneWhoseEventsNobodyReadsKeepsAnswering) {
    KamailioFixture sip;
    ASSERT_TRUE(sip.start()) << sip.error();
    SipPeer bob(phone("bob", true));
    SipPeer carol(phone("carol", false));
    ASSERT_TRUE(bob.start()) << bob.error();
    ASSERT_TRUE(carol.start()) << carol.error();
    ASSERT_TRUE(bob.registerAs(sip, "bob", "udp")) << bob.logText();
    ASSERT_TRUE(carol.registerAs(sip, "carol", "udp")) << carol.logText();

    // Each call leaves a dozen lines unread at bob: more than his socket
    // holds long before the last call.
    const int kCalls = 90;
    for (int i = 0; i < kCalls; ++i) {
        const size_t from = carol.eventCount();
        std::string reply;
        ASSERT_TRUE(carol.command("call " + sip.userUri("bob"), &reply)) << reply;
        const int id = std::atoi(reply.substr(reply.rfind(' ') + 1).c_str());
        ASSERT_TRUE(carol.waitCallState(id, "StreamsRunning", 10s, from)) << "call " << i << " not answered";
        ASSERT_TRUE(carol.command("hangup " + std::to_string(id)));
        ASSERT_TRUE(carol.waitCallState(id, "Released", 10s, from)) << "call " << i << " not ended";
    }
    // Nothing was lost meanwhile: bob's lines all arrive once read.
    EXPECT_TRUE(bob.waitEvent("call " + std::to_string(kCalls) + " Released", 10s));
}

}  // namespace
