// The session tasks with the real client registry, a counting framework client
// and a sink that collects the outbound JSON texts.
#include <stdlib.h>
#include <unistd.h>

#include <functional>
#include <regex>

#include <gtest/gtest.h>

#include "FakeZepWCmdClient.h"
#include "RegistryBench.h"
#include "TaskBench.h"
#include "dispatch/AuthorizationTask.h"
#include "dispatch/StopTask.h"
#include "dispatch/TaskContext.h"
#include "messages/ChannelClient.h"
#include "messages/SDKClientMessage.h"
#include "platform/linux/ClientAuthWhitelist.h"
#include "tasks/session/GetUserAuthStatusTask.h"
#include "tasks/session/GetVersionTask.h"
#include "tasks/session/InitTask.h"
#include "tasks/session/ShowUserAuthorizationTask.h"

using namespace tessel;
using tessel::test::CapturingSink;
using tessel::test::FakeZepWCmdClient;
using tessel::test::obj;
using tessel::test::runTask;

namespace {

// The raw JSON spelling of a member, so typed booleans are told from strings.
std::string rawValue(const std::string& json, const std::string& key) {
    std::smatch match;
    return std::regex_search(json, match, std::regex("\"" + key + "\"\\s*:\\s*(\"[^\"]*\"|[^,}\\s]*)")) ? match[1].str()
                                                                                                        : "<absent>";
}

class SessionTasksTest : public tessel::test::RegistryBench {
protected:
    SessionTasksTest() { ClientAuthWhitelist::whitelistSite(L"trusted.example", nullptr); }

    std::shared_ptr<ChannelClient> registered(const std::string& id, const std::string& hostname,
                                              const std::string& type = "Chrome") {
        EXPECT_TRUE(add(id, hostname, type));
        return tessel::test::makeClient(id, hostname, type);
    }

    // A context as the dispatcher and the task handler together build it.
    std::shared_ptr<TaskContext> context(std::shared_ptr<ChannelClient> client, const std::string& name,
                                         std::shared_ptr<Ptree> content = nullptr) {
        auto request = std::make_shared<SDKClientMessage>();
        request->setName(name);
        request->setMessageId("m-" + name);
        request->setContent(content);
        auto ctx = std::make_shared<TaskContext>();
        ctx->setLog(&log);
        ctx->setTaskDoneSink(spOut);
        ctx->setZepCmdcli(spZep);
        ctx->setClientManager(spManager);
        ctx->setChannelClient(client);
        ctx->setSDKClientMessage(request);
        return ctx;
    }

    static const Ptree& server(const Ptree& message) {
        return message.get_child("norvaChannelMessage.norvaSDKServerMessage");
    }

    std::shared_ptr<CapturingSink> spOut = std::make_shared<CapturingSink>();
    std::shared_ptr<FakeZepWCmdClient> spZep = std::make_shared<FakeZepWCmdClient>();
};

}  // namespace

TEST_F(SessionTasksTest, InitStartsTheFrameworkOnceAndOnlyForAWhitelistedSite) {
    auto trusted = registered("t", "trusted.example");
    runTask<InitTask>(context(registered("p", "plain.example"), "init"));
    EXPECT_EQ(spZep->startCount(), 0);
    runTask<InitTask>(context(trusted, "init", obj({{"anything", "goes"}})));
    runTask<InitTask>(context(trusted, "init"));
    EXPECT_EQ(spZep->startCount(), 1);  // already running

    auto messages = spOut->messages();
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(server(messages[0]).get<std::string>("content.userauthstatus"), "MustShowAuth");
    EXPECT_EQ(server(messages[1]).get<std::string>("content.userauthstatus"), "UserAuthorized");
}

// Where the task can still answer a missing collaborator or unwanted content,
// the page gets a syntax error. The framework never starts.
TEST_F(SessionTasksTest, MissingCollaboratorsAndUnwantedContent) {
    auto client = registered("c", "trusted.example");
    auto fresh = registered("f", "plain.example");
    auto without = [&](std::shared_ptr<ChannelClient> who, const char* name, bool manager) {
        auto c = context(who, name);
        manager ? c->setClientManager(nullptr) : c->setZepCmdcli(nullptr);
        return c;
    };
    const struct {
        std::function<void()> run;
        bool errorReply;
    } cases[] = {
        {[&] { runTask<InitTask>(without(client, "init", true)); }, true},
        {[&] { runTask<InitTask>(without(client, "init", false)); }, false},
        {[&] { runTask<InitTask>(context(nullptr, "init")); }, false},
        {[&] {
             runTask<ShowUserAuthorizationTask>(context(fresh, "showUserAuthorization", obj({{"x", "1"}})));
         },
         true},
        {[&] { runTask<ShowUserAuthorizationTask>(without(fresh, "showUserAuthorization", false)); }, false},
        {[&] { runTask<ShowUserAuthorizationTask>(without(fresh, "showUserAuthorization", true)); }, true},
    };
    for (size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i) {
        spOut->clear();
        cases[i].run();
        auto messages = spOut->messages();
        ASSERT_EQ(messages.size(), cases[i].errorReply ? 1u : 0u) << i;
        if (cases[i].errorReply) {
            EXPECT_EQ(server(messages[0]).get<std::string>("error"), "eSyntaxError") << i;
        }
    }
    EXPECT_TRUE(dialogs.empty());
    EXPECT_EQ(spZep->startCount(), 0);
}

TEST_F(SessionTasksTest, ShowUserAuthorizationByStatus) {
    auto fresh = registered("f", "plain.example");
    runTask<ShowUserAuthorizationTask>(context(registered("t", "trusted.example"), "showUserAuthorization"));
    EXPECT_EQ(spZep->startCount(), 1);
    auto texts = spOut->texts();
    ASSERT_EQ(texts.size(), 2u);  // the event first, then the reply
    auto messages = spOut->messages();
    EXPECT_EQ(messages[0].get<std::string>("norvaChannelMessage.client.id"), "t");
    EXPECT_EQ(server(messages[0]).get<std::string>("name"), "userauthorized");
    EXPECT_EQ(server(messages[0]).count("replyToMessageId"), 0u);
    EXPECT_EQ(rawValue(texts[0], "content"), "true");
    EXPECT_EQ(server(messages[1]).get<std::string>("replyToMessageId"), "m-showUserAuthorization");
    EXPECT_EQ(server(messages[1]).count("content") + server(messages[1]).count("error"), 0u);

    spOut->clear();
    runTask<ShowUserAuthorizationTask>(context(registered("d", "plain.example", "Opera"), "showUserAuthorization"));
    texts = spOut->texts();
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(rawValue(texts[0], "content"), "false");
    EXPECT_EQ(spZep->startCount(), 1);

    // Must show, then pending: the dialog opens once and the page hears nothing but the replies.
    spOut->clear();
    runTask<ShowUserAuthorizationTask>(context(fresh, "showUserAuthorization"));
    runTask<ShowUserAuthorizationTask>(context(fresh, "showUserAuthorization"));
    EXPECT_EQ(dialogs.size(), 1u);
    messages = spOut->messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(server(messages[1]).get<std::string>("name"), "showUserAuthorization");
    // The answer's road to the page is checked through the host, on a real dialog.
    EXPECT_EQ(spIn->tasksOf<AuthorizationTask>().size(), 0u) << "no decision before the user answers";
}

TEST_F(SessionTasksTest, AuthorizationTaskStartsAndTellsTheClient) {
    auto ctx = [&](std::shared_ptr<Ptree> content) {
        auto c = context(nullptr, "", content);
        c->setClientManager(nullptr);  // the task must not need it
        return c;
    };

    runTask<AuthorizationTask>(ctx(obj({{"clientId", "a"}, {"authorized", "false"}})));
    EXPECT_EQ(spZep->startCount(), 0);
    runTask<AuthorizationTask>(ctx(obj({{"clientId", "a"}, {"authorized", "true"}})));
    EXPECT_EQ(spZep->startCount(), 1);
    runTask<AuthorizationTask>(ctx(obj({{"clientId", "b"}, {"authorized", "true"}})));
    EXPECT_EQ(spZep->startCount(), 1);

    auto texts = spOut->texts();
    auto messages = spOut->messages();
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(messages[0].get<std::string>("norvaChannelMessage.client.id"), "a");
    EXPECT_EQ(server(messages[0]).get<std::string>("name"), "userauthorized");
    EXPECT_EQ(rawValue(texts[0], "content"), "false");
    EXPECT_EQ(rawValue(texts[1], "content"), "true");
    EXPECT_EQ(messages[2].get<std::string>("norvaChannelMessage.client.id"), "b");
}

TEST_F(SessionTasksTest, AuthorizationTaskWithBadContentDoesNothing) {
    const std::vector<std::shared_ptr<Ptree>> bad = {
        obj({{"clientId", "a"}, {"authorized", "true"}, {"extra", "1"}}),
        obj({{"clientId", "a"}, {"authorized", "true"}, {"authorized", "true"}}),
        obj({{"clientId", "a"}}),
        obj({{"authorized", "true"}}),
        obj({{"clientId", "a"}, {"authorized", "True"}}),
        nullptr,
    };
    for (const auto& content : bad) {
        runTask<AuthorizationTask>(context(nullptr, "", content));
    }
    EXPECT_EQ(spOut->size(), 0u);
    EXPECT_EQ(spZep->startCount(), 0);

    auto noSink = context(nullptr, "", obj({{"clientId", "a"}, {"authorized", "true"}}));
    noSink->setTaskDoneSink(nullptr);
    runTask<AuthorizationTask>(noSink);
    EXPECT_EQ(spZep->startCount(), 0);
}

TEST_F(SessionTasksTest, StopTaskStopsOnlyARunningFramework) {
    auto ctx = context(nullptr, "", std::make_shared<Ptree>());
    runTask<StopTask>(ctx);
    EXPECT_EQ(spZep->stopCount(), 0);

    spZep->setStarted(true);
    runTask<StopTask>(context(nullptr, "", obj({{"x", "1"}})));
    EXPECT_EQ(spZep->stopCount(), 0);
    runTask<StopTask>(ctx);
    EXPECT_EQ(spZep->stopCount(), 1);
    EXPECT_FALSE(spZep->isZepWrapperStarted());

    auto noZep = context(nullptr, "", std::make_shared<Ptree>());
    noZep->setZepCmdcli(nullptr);
    runTask<StopTask>(noZep);
    EXPECT_EQ(spOut->size(), 0u);
}
