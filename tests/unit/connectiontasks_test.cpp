// The connection, configuration and sign-in tasks against the scriptable
// framework fake; replies are read back from the outbound JSON texts.
#include <functional>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "TaskBench.h"
#include "tasks/connection/ConfigureTask.h"
#include "tasks/connection/ConnectTask.h"
#include "tasks/connection/EncryptPboxPasswordTask.h"
#include "tasks/connection/GetAvailableDevicesTask.h"
#include "tasks/connection/GetPropertyTask.h"
#include "tasks/connection/LogoutTask.h"
#include "tasks/connection/SetPropertyTask.h"
#include "tasks/connection/SwitchModeTask.h"
#include "tasks/signin/ResetDataTask.h"
#include "tasks/signin/SetUserProfileCredentialsTask.h"
#include "tasks/signin/SetUserProfileEmailAddressTask.h"
#include "tasks/signin/StartSignInTask.h"

using namespace tessel;
using namespace tessel::test;

namespace {

const std::map<std::string, TaskRunner> kTasks = {
    {"connect", runTask<ConnectTask>},
    {"switchMode", runTask<SwitchModeTask>},
    {"logout", runTask<LogoutTask>},
    {"configure", runTask<ConfigureTask>},
    {"getProperty", runTask<GetPropertyTask>},
    {"setProperty", runTask<SetPropertyTask>},
    {"getAvailableDevices", runTask<GetAvailableDevicesTask>},
    {"encryptPboxPassword", runTask<EncryptPboxPasswordTask>},
    {"startSignIn", runTask<StartSignInTask>},
    {"setUserProfileEmailAddress", runTask<SetUserProfileEmailAddressTask>},
    {"setUserProfileCredentials", runTask<SetUserProfileCredentialsTask>},
    {"resetData", runTask<ResetDataTask>},
};

std::shared_ptr<Ptree> text(const std::string& value) {
    return std::make_shared<Ptree>(value);
}

std::shared_ptr<Ptree> list(const std::string& name, std::initializer_list<std::string> items) {
    Ptree array;
    for (const auto& item : items) {
        array.push_back(std::make_pair("", Ptree(item)));
    }
    auto t = std::make_shared<Ptree>();
    t->add_child(name, array);
    return t;
}

class ConnectionTasksTest : public TaskBench {
protected:
    ConnectionTasksTest() : TaskBench(kTasks) {}
};

}  // namespace

TEST_F(ConnectionTasksTest, BadInputIsRefusedBeforeTheFramework) {
    struct Case {
        const char* command;
        std::shared_ptr<Ptree> content;
        const char* expectedError;
    };
    const Case cases[] = {
        {"connect", nullptr, "eInvalidArgument"},
        {"connect", obj({}), "eInvalidArgument"},  // deviceName required
        {"connect", obj({{"deviceName", "d"}, {"colour", "red"}}), "eInvalidArgument"},
        {"connect", obj({{"deviceName", "d"}, {"deviceName", "e"}}), "eInvalidArgument"},
        {"connect", obj({{"deviceName", "d"}, {"forceRegistration", "maybe"}}), "eInvalidArgument"},
        {"switchMode", obj({{"deviceName", "d"}, {"extra", "1"}}), "eInvalidArgument"},
        {"logout", obj({{"a", "1"}}), "eSyntaxError"},
        {"configure", obj({{"shmLocalName", "l"}}), "eInvalidArgument"},
        {"getProperty", obj({{"name", "mode"}}), "eInvalidArgument"},
        {"getProperty", text("volume"), "eInvalidArgument"},
        {"getProperty", nullptr, "eInvalidArgument"},
        {"setProperty", nullptr, "eSyntaxError"},
        {"setProperty", obj({}), "eSyntaxError"},
        {"setProperty", list("ProxyAddressList", {"a"}), "eSyntaxError"},
        {"setProperty", obj({{"LoryAddressList", "not-a-list"}}), "eSyntaxError"},
        {"getAvailableDevices", obj({{"x", "1"}}), "eSyntaxError"},
        {"encryptPboxPassword", nullptr, "eInvalidArgument"},
        {"encryptPboxPassword", obj({{"password", "p"}}), "eInvalidArgument"},
        {"startSignIn", obj({{"manualSettings", "perhaps"}}), "eInvalidArgument"},
        {"startSignIn", obj({{"manual", "true"}}), "eInvalidArgument"},
        {"setUserProfileEmailAddress", obj({}), "eInvalidArgument"},
        {"setUserProfileCredentials", obj({{"authenticator", "1"}, {"username", "u"}}), "eInvalidArgument"},
        {"setUserProfileCredentials",
         obj({{"authenticator", "1"}, {"username", "u"}, {"password", "p"}, {"domain", "x"}}), "eInvalidArgument"},
        {"resetData", nullptr, "eInvalidArgument"},
        {"resetData", obj({{"all", "true"}}), "eSyntaxError"},
    };
    for (const Case& c : cases) {
        zep.clearCalls();
        Ptree reply = run(c.command, c.content);
        EXPECT_EQ(error(reply), c.expectedError) << c.command;
        EXPECT_EQ(reply.get<std::string>("name", ""), c.command);
        // Only pumps or nothing: no operation reached the framework.
        EXPECT_TRUE(zep.calls().empty()) << c.command << " called " << zep.calls().front();
    }
}

TEST_F(ConnectionTasksTest, FrameworkCodesReachThePage) {
    struct Case {
        const char* command;
        const char* operation;
        std::shared_ptr<Ptree> content;
        int code;
        const char* expectedError;
    };
    const Case cases[] = {
        {"connect", "connect", obj({{"deviceName", "d"}}), 4, "eNoActiveDevice"},
        {"configure", "configure", obj({{"shmLocalName", "l"}, {"shmRemoteName", "r"}}), 12, "eCtiNotConfigured"},
        {"setUserProfileEmailAddress", "setUserProfileEmailAddress", obj({{"email", "a@b.c"}}), 15, "eInvalidArgument"},
        {"setUserProfileCredentials", "setUserProfileCredentials",
         obj({{"authenticator", "0"}, {"username", "u"}, {"password", "p"}}), 7, "eLoggedInLock"},
        {"resetData", "resetData", obj({}), 11, "eInvalidState"},
        // The one exception: a refused sign-in start is always a syntax error.
        {"startSignIn", "startSignIn", obj({}), 20, "eSyntaxError"},
        {"startSignIn", "startSignIn", obj({}), 9, "eSyntaxError"},
        // Results that are deliberately ignored.
        {"logout", "logout", nullptr, 8, kAbsent},
        {"switchMode", "connect", obj({{"deviceName", "d"}}), 4, kAbsent},
    };
    for (const Case& c : cases) {
        zep.setResult(c.operation, c.code);
        Ptree reply = run(c.command, c.content);
        EXPECT_EQ(error(reply), c.expectedError) << c.command << " / " << c.code;
        zep.setResult(c.operation, 0);
        EXPECT_EQ(error(run(c.command, c.content)), kAbsent) << c.command;
    }
    EXPECT_EQ(zep.callCount("connect"), 2u);  // only the two connect runs; switchMode never connects
}

TEST_F(ConnectionTasksTest, ParametersAndDefaultsArePassedOn) {
    run("connect", obj({{"deviceName", "SEP01"}}));
    EXPECT_EQ(zep.lastArgs("connect"), (std::vector<std::string>{"SEP01", "", "false"}));

    run("connect",
        obj({{"deviceName", "SEP02"}, {"lineDN", "1001"}, {"phoneMode", "DeskPhone"}, {"forceRegistration", "true"}}));
    EXPECT_EQ(zep.lastArgs("connect"), (std::vector<std::string>{"SEP02", "1001", "true"}));

    zep.clearCalls();
    run("switchMode", obj({{"deviceName", "SEP03"}}));
    EXPECT_TRUE(zep.calls().empty());

    run("startSignIn", obj({}));
    EXPECT_EQ(zep.lastArgs("startSignIn"), (std::vector<std::string>{"false"}));
    run("startSignIn", obj({{"manualSettings", "true"}}));
    EXPECT_EQ(zep.lastArgs("startSignIn"), (std::vector<std::string>{"true"}));

    run("configure", obj({{"shmLocalName", "local"}, {"shmRemoteName", "remote"}}));
    EXPECT_EQ(zep.lastArgs("configure"), (std::vector<std::string>{"local", "remote"}));
    run("setUserProfileEmailAddress", obj({{"email", "alice@example.test"}}));
    EXPECT_EQ(zep.lastArgs("setUserProfileEmailAddress"), (std::vector<std::string>{"alice@example.test"}));

    const std::string secret = "s3cr3t-Pa55";
    run("setUserProfileCredentials", obj({{"authenticator", "2"}, {"username", "alice"}, {"password", secret}}));
    EXPECT_EQ(zep.lastArgs("setUserProfileCredentials"), (std::vector<std::string>{"2", "alice", secret}));
    run("encryptPboxPassword", text(secret));
    EXPECT_FALSE(log.contains(secret));
}

TEST_F(ConnectionTasksTest, PropertiesAreReadAndSetByName) {
    zep.setModeOut("SoftPhone");
    zep.setConnectionStatusOut("eIdle");
    Ptree reply = run("getProperty", text("mode"));
    EXPECT_EQ(reply.get_child("content").size(), 1u);
    EXPECT_EQ(reply.get<std::string>("content.mode"), "SoftPhone");
    EXPECT_EQ(run("getProperty", text("connectionStatus")).get<std::string>("content.connectionStatus"), "eIdle");
    // No device selected yet.
    EXPECT_EQ(run("getProperty", text("device")).get<std::string>("content.device.exists"), "false");
    EXPECT_EQ(error(run("getProperty", text("line"))), kAbsent);

    reply = run("setProperty", list("TftpAddressList", {"127.0.0.1", "127.0.0.2"}));
    EXPECT_EQ(zep.lastArgs("setTftpAddressList"), (std::vector<std::string>{"[127.0.0.1, 127.0.0.2]"}));
    EXPECT_EQ(reply.get_child("content").size(), 1u);
    EXPECT_EQ(reply.get_child("content.TftpAddressList").size(), 2u);
    EXPECT_EQ(reply.get_child("content.TftpAddressList").back().second.data(), "127.0.0.2");
    run("setProperty", list("LoryAddressList", {"127.0.0.1:5060"}));
    EXPECT_EQ(zep.lastArgs("setLoryAddressList"), (std::vector<std::string>{"[127.0.0.1:5060]"}));

    // Two valid members: both are applied, and still refused.
    auto two = list("CtiAddressList", {"c"});
    two->add_child("LoryAddressList", list("x", {"l"})->get_child("x"));
    EXPECT_EQ(error(run("setProperty", two)), "eSyntaxError");
    EXPECT_EQ(zep.lastArgs("setCtiAddressList"), (std::vector<std::string>{"[c]"}));
    EXPECT_EQ(zep.lastArgs("setLoryAddressList"), (std::vector<std::string>{"[l]"}));
}

TEST_F(ConnectionTasksTest, ListsAndEncryptedTextReplies) {
    Ptree reply = run("getAvailableDevices", nullptr);
    EXPECT_EQ(error(reply), kAbsent);
    ASSERT_EQ(reply.get_child("content").count("devices"), 1u);
    EXPECT_TRUE(reply.get_child("content.devices").empty());

    zep.setEncryptedOut("ZW5jcnlwdGVk");
    EXPECT_EQ(run("encryptPboxPassword", text("pw")).get<std::string>("content"), "ZW5jcnlwdGVk");
    EXPECT_EQ(zep.lastArgs("encryptPboxPassword").front(), "pw");
    zep.setResult("encryptPboxPassword", 20);
    reply = run("encryptPboxPassword", text("pw"));
    EXPECT_EQ(error(reply), kAbsent);
    EXPECT_EQ(reply.get<std::string>("content", ""), "");
}

TEST_F(ConnectionTasksTest, MissingCollaborators) {
    // Without a request the tasks that test it stay silent.
    for (const char* command : {"connect", "switchMode", "getAvailableDevices", "encryptPboxPassword", "getProperty",
                                "startSignIn", "setUserProfileEmailAddress", "setUserProfileCredentials"}) {
        spOut->clear();
        kTasks.at(command)(context(command, nullptr, false));
        EXPECT_EQ(spOut->size(), 0u) << command;
    }

    // Without the framework most reply eOperationFailed; startSignIn keeps eSyntaxError.
    spCmdcli->setZepWrapper(nullptr);
    EXPECT_EQ(error(run("startSignIn", obj({}))), "eSyntaxError");
    EXPECT_EQ(error(run("resetData", obj({}))), "eOperationFailed");
    EXPECT_EQ(error(run("getProperty", text("mode"))), "eOperationFailed");

    // Without a command client nothing is answered at all.
    auto ctx = context("logout", nullptr);
    ctx->setZepCmdcli(nullptr);
    spOut->clear();
    runTask<LogoutTask>(ctx);
    EXPECT_EQ(spOut->size(), 0u);
}
