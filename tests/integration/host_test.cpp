// The built host driven as a browser drives it: real pipes, both framings.

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "HostProcess.h"

using namespace pelatest;
using namespace std::chrono_literals;

namespace {

class HostFraming : public ::testing::TestWithParam<bool> {
protected:
    HostProcess::Options options() {
        HostProcess::Options o;
        o.chrome = GetParam();
        return o;
    }
};

}  // namespace

TEST_P(HostFraming, SessionCommandsAnswerAnUnauthorizedPage) {
    HostProcess host(options());

    std::string raw;
    auto version = call(host, "p1", "unknown.example.org", "getVersion", "m1", "", &raw);
    const auto fields = version.get_child("norvaChannelMessage.norvaSDKServerMessage.content.version");
    EXPECT_EQ(fields.size(), 3u);
    EXPECT_EQ(fields.get<std::string>("plugin"), "4.0.0.577");
    EXPECT_EQ(fields.get<std::string>("plugin_revision"), "217040");
    EXPECT_EQ(fields.get<std::string>("system_release"), "Norva Voice System Release 11.0 EAP1");
    EXPECT_EQ(serverField(version, "name"), "getVersion");
    EXPECT_EQ(serverField(version, "error"), "");
    EXPECT_EQ(serverField(version, "messageId").size(), 36u);
    // The reply addresses the page by id only.
    auto client = version.get_child("norvaChannelMessage.client");
    EXPECT_EQ(client.size(), 1u);
    EXPECT_EQ(client.get<std::string>("id"), "p1");

    auto init = call(host, "p1", "unknown.example.org", "init", "m2", "{\"anything\":1}", &raw);
    auto content = init.get_child("norvaChannelMessage.norvaSDKServerMessage.content");
    EXPECT_EQ(content.get<std::string>("userauthstatus"), "MustShowAuth");
    EXPECT_EQ(content.get<std::string>("instanceId"), std::to_string(host.pid()));
    // Capabilities are real JSON booleans, not strings; only two follow the framing.
    const bool chrome = GetParam();
    const std::pair<const char*, bool> capabilities[] = {{"video", true},
                                                         {"multireg", true},
                                                         {"delayedUserAuth", true},
                                                         {"certValidation", true},
                                                         {"videoPluginObject", !chrome},
                                                         // no display here to dock in
                                                         {"externalWindowDocking", false},
                                                         {"showingDockingTarget", true},
                                                         {"ringtoneSelection", false},
                                                         {"ringOnAllDevices", false}};
    for (const auto& c : capabilities) {
        EXPECT_NE(raw.find(std::string("\"") + c.first + "\": " + (c.second ? "true" : "false")), std::string::npos)
            << c.first << "\n"
            << raw;
    }
    EXPECT_EQ(content.get_child("capabilities").size(), 9u);

    auto status = call(host, "p1", "unknown.example.org", "getUserAuthStatus", "m3");
    EXPECT_EQ(status.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content"), "MustShowAuth");

    // Session commands take no content.
    for (const char* name : {"getVersion", "getUserAuthStatus"}) {
        auto bad = call(host, "p1", "unknown.example.org", name, std::string("m4") + name, "{\"x\":1}");
        EXPECT_EQ(serverField(bad, "error"), "eSyntaxError") << name;
        EXPECT_EQ(bad.get_child("norvaChannelMessage.norvaSDKServerMessage").count("content"), 0u) << name;
    }

    host.closeInput();
    EXPECT_EQ(host.waitExit(3s), 0);
}

TEST_P(HostFraming, OnlyTheFourSessionCommandsPassTheAuthorizationGate) {
    HostProcess host(options());
    call(host, "p1", "unknown.example.org", "getVersion", "warmup");

    // The command table as the host logged it at start-up.
    std::smatch match;
    std::string log = host.logText();
    ASSERT_TRUE(std::regex_search(log, match, std::regex("registered tasks=\\[([^\\]]*)\\]")));
    std::istringstream names(match[1].str());
    std::vector<std::string> commands;
    for (std::string name; names >> name;) commands.push_back(name);
    ASSERT_EQ(commands.size(), 65u);
    EXPECT_EQ(commands.front(), "addPreviewWindow");
    EXPECT_EQ(commands.back(), "unsuppressSSOSessionExpiryPrompt");

    const std::set<std::string> open{"init", "getVersion", "getUserAuthStatus", "showUserAuthorization"};
    int n = 0;
    for (const auto& name : commands) {
        if (name == "showUserAuthorization") continue;  // opens the dialog; covered elsewhere
        auto reply = call(host, "p1", "unknown.example.org", name, "g" + std::to_string(n++), "{}");
        if (open.count(name)) {
            EXPECT_NE(serverField(reply, "error"), "eNotUserAuthorized") << name;
        } else {
            EXPECT_EQ(serverField(reply, "error"), "eNotUserAuthorized") << name;
        }
    }
    // A name not in the table is a syntax error, whoever asks.
    EXPECT_EQ(serverField(call(host, "p1", "unknown.example.org", "Answer", "u1"), "error"), "eSyntaxError");
}

TEST_P(HostFraming, MalformedEnvelopesAreRefusedAndTheHostCarriesOn) {
    HostProcess host(options());
    std::string text;

    host.send("this is not json");
    host.send("{\"norvaChannelMessage\":{\"client\":{\"id\":\"p1\"},\"clientConnected\":true}}");
    host.send(disconnect("nobody"));
    // Nothing names a request, so nothing is answered...
    EXPECT_FALSE(host.receive(text, 500ms));

    // ...but an envelope that names one gets a syntax error.
    host.send(
        "{\"norvaChannelMessage\":{\"client\":{\"id\":\"p1\"},\"norvaSDKClientMessage\":"
        "{\"name\":\"getVersion\",\"messageId\":\"x1\"},\"other\":1}}");
    ASSERT_TRUE(host.receive(text, 5s));
    auto reply = parseJson(text);
    EXPECT_EQ(serverField(reply, "error"), "eSyntaxError");
    EXPECT_EQ(serverField(reply, "replyToMessageId"), "x1");

    host.send(
        "{\"norvaChannelMessage\":{\"client\":{\"id\":\"p1\"},\"norvaSDKClientMessage\":"
        "{\"name\":\"getVersion\",\"messageId\":\"\"}}}");
    ASSERT_TRUE(host.receive(text, 5s));
    reply = parseJson(text);
    EXPECT_EQ(serverField(reply, "error"), "eSyntaxError");
    EXPECT_EQ(reply.get_child("norvaChannelMessage.norvaSDKServerMessage").count("replyToMessageId"), 0u);

    // A page may not change its identity under the same id.
    call(host, "p2", "a.example.org", "getVersion", "y1");
    auto rejected = call(host, "p2", "b.example.org", "getVersion", "y2");
    EXPECT_EQ(serverField(rejected, "error"), "eNotUserAuthorized");

    // Still serving.
    EXPECT_EQ(serverField(call(host, "p1", "unknown.example.org", "getVersion", "z1"), "error"), "");
}

TEST_P(HostFraming, WhitelistedPageStartsTheFrameworkAndOnlyAuthorizedPagesGetEvents) {
    HostProcess::Options o = options();
    TempDir config;
    writePreferences(config.path(), "{\"AlwaysAllow_phone.example.com\": true}");
    o.configHome = config.path();
    HostProcess host(o);

    // An unauthorized page is known to the host before the framework starts.
    call(host, "stranger", "unknown.example.org", "init", "s1");
    // Nor is the SIP engine loaded yet: pages that only look pay nothing for it.
    const std::string maps = "/proc/" + std::to_string(host.pid()) + "/maps";
    EXPECT_EQ(readFile(maps).find("liblinphone"), std::string::npos);

    std::vector<std::string> seen;
    host.send(request("owner", "phone.example.com", "init", "o1"));
    bool replied = false;
    bool started = host.receiveUntil(
        [&](const boost::property_tree::ptree& m) {
            if (isReplyTo(m, "o1")) {
                replied = true;
                EXPECT_EQ(m.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content.userauthstatus"),
                          "UserAuthorized");
            }
            return isEvent(m, "multimediacapabilitiesstarted");
        },
        15s, &seen);
    ASSERT_TRUE(started) << "framework did not report start";
    EXPECT_TRUE(replied);
    const std::string startedMaps = readFile(maps);
    EXPECT_NE(startedMaps.find("liblinphone"), std::string::npos);
    // The desktop's media plugins (a Qt display filter) stay out: video is drawn by our own.
    EXPECT_EQ(startedMaps.find("libQt5"), std::string::npos);
    for (const auto& text : seen) {
        auto m = parseJson(text);
        if (isEvent(m, "multimediacapabilitiesstarted")) {
            EXPECT_EQ(m.get<std::string>("norvaChannelMessage.client.id"), "owner");
            EXPECT_EQ(m.get_child("norvaChannelMessage.norvaSDKServerMessage").count("content"), 0u);
        }
    }

    // The authorized page may use protected commands (this build answers
    // "not supported" for the ones it does not have yet, never "unauthorized").
    EXPECT_NE(serverField(call(host, "owner", "phone.example.com", "getCalls", "o2", "{}"), "error"),
              "eNotUserAuthorized");
}

TEST_P(HostFraming, WithoutADesktopTheDialogDeniesAtOnce) {
    HostProcess host(options());
    call(host, "p1", "unknown.example.org", "init", "i1");
    host.send(request("p1", "unknown.example.org", "showUserAuthorization", "a1"));
    bool replied = false;
    boost::property_tree::ptree event;
    ASSERT_TRUE(host.receiveUntil(
        [&](const boost::property_tree::ptree& m) {
            if (isReplyTo(m, "a1")) {
                replied = true;
                EXPECT_EQ(serverField(m, "error"), "");
            }
            if (isEvent(m, "userauthorized")) {
                event = m;
                return true;
            }
            return false;
        },
        10s));
    EXPECT_TRUE(replied);
    EXPECT_EQ(event.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content"), "false");
    auto status = call(host, "p1", "unknown.example.org", "getUserAuthStatus", "i2");
    EXPECT_EQ(status.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content"), "UserDenied");
    EXPECT_EQ(serverField(call(host, "p1", "unknown.example.org", "answer", "i3", "{\"callId\":1}"), "error"),
              "eNotUserAuthorized");
}

TEST_P(HostFraming, ClosingInputEndsTheHostPromptlyWithTheShutdownLine) {
    HostProcess host(options());
    call(host, "p1", "unknown.example.org", "getVersion", "m1");
    // A last message cut short by the close: a frame missing bytes, or a line without its line feed.
    const uint32_t length = 100;
    host.sendRaw((GetParam() ? std::string(reinterpret_cast<const char*>(&length), 4) : "") + "{\"norvaChann");
    auto before = std::chrono::steady_clock::now();
    host.closeInput();
    EXPECT_EQ(host.waitExit(5s), 0);
    auto took = std::chrono::steady_clock::now() - before;
    EXPECT_LT(took, 2500ms);
    std::string log = host.logText();
    EXPECT_NE(log.find("main shutdown complete, exit."), std::string::npos);
}

TEST_P(HostFraming, StrayStandardOutputNeverReachesTheChannel) {
    HostProcess::Options o = options();
    o.extraEnv["PELA_STDOUT_PROBE"] = "1";
    HostProcess host(o);
    host.send(request("p1", "unknown.example.org", "getVersion", "m1"));
    std::string text;
    ASSERT_TRUE(host.receive(text, 5s));
    // The very first frame is the reply, whole and valid.
    EXPECT_EQ(serverField(parseJson(text), "replyToMessageId"), "m1");
    EXPECT_EQ(text.find("stray text"), std::string::npos);
}

TEST_P(HostFraming, RequestsCarryingSecretsNeverReachTheLog) {
    HostProcess host(options());
    host.send(request("p1", "unknown.example.org", "setUserProfileCredentials", "c1",
                      "{\"authenticator\":1,\"username\":\"alice\",\"password\":\"hunter2-secret\"}"));
    host.send(request("p1", "unknown.example.org", "encryptPboxPassword", "c2", "\"pbox-secret\""));
    call(host, "p1", "unknown.example.org", "getVersion", "c3");
    host.closeInput();
    host.waitExit(5s);
    std::string log = host.logText();
    EXPECT_EQ(log.find("hunter2-secret"), std::string::npos);
    EXPECT_EQ(log.find("pbox-secret"), std::string::npos);
    EXPECT_NE(log.find("<PACKET NOT SHOWN>"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Framing, HostFraming, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& param) {
                             return param.param ? std::string("Chrome") : std::string("Newline");
                         });
