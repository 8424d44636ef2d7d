// The single sign-on commands against the scriptable framework fake: what
// each refuses before the framework, what it passes on, and what it answers.
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "TaskBench.h"
#include "tasks/sso/CancelSingleSignOnTask.h"
#include "tasks/sso/GetSSOSessionTimeRemainingTask.h"
#include "tasks/sso/RestablishSSOSessionTask.h"
#include "tasks/sso/SsoNavigationCompletedTask.h"
#include "tasks/sso/SuppressSSOSessionExpiryPromptTask.h"
#include "tasks/sso/UnsuppressSSOSessionExpiryPromptTask.h"

using namespace tessel;
using namespace tessel::test;

namespace {

const std::map<std::string, TaskRunner> kTasks = {
    {"ssoNavigationCompleted", runTask<SsoNavigationCompletedTask>},
    {"restablishSSOSession", runTask<RestablishSSOSessionTask>},
    {"getSSOSessionTimeRemaining", runTask<GetSSOSessionTimeRemainingTask>},
    {"cancelSingleSignOn", runTask<CancelSingleSignOnTask>},
    {"suppressSSOSessionExpiryPrompt", runTask<SuppressSSOSessionExpiryPromptTask>},
    {"unsuppressSSOSessionExpiryPrompt", runTask<UnsuppressSSOSessionExpiryPromptTask>},
};

const char* const kContentless[] = {"restablishSSOSession", "getSSOSessionTimeRemaining", "cancelSingleSignOn",
                                    "suppressSSOSessionExpiryPrompt"};

class SsoTasksTest : public TaskBench {
protected:
    SsoTasksTest() : TaskBench(kTasks) {}

    static std::shared_ptr<Ptree> navigation(const std::string& result, const std::string& url) {
        return obj({{"result", result}, {"url", url}, {"document", "<html></html>"}});
    }
};

TEST_F(SsoTasksTest, BadInputIsRefusedBeforeTheFramework) {
    struct Case {
        const char* command;
        std::shared_ptr<Ptree> content;
        const char* expectedError;
    };
    const Case cases[] = {
        {"ssoNavigationCompleted", obj({{"result", "0"}, {"url", "http://x/"}}), "eInvalidArgument"},
        {"ssoNavigationCompleted", navigation("zero", "http://x/"), "eInvalidArgument"},
        {"ssoNavigationCompleted", obj({{"result", "0"}, {"url", "u"}, {"document", "d"}, {"state", "s"}}),
         "eInvalidArgument"},
        {"ssoNavigationCompleted", obj({{"result", "0"}, {"result", "1"}, {"url", "u"}, {"document", "d"}}),
         "eInvalidArgument"},
        {"unsuppressSSOSessionExpiryPrompt", obj({}), "eInvalidArgument"},
        {"unsuppressSSOSessionExpiryPrompt", obj({{"promptIfExpired", "soon"}}), "eInvalidArgument"},
        {"unsuppressSSOSessionExpiryPrompt", obj({{"promptIfExpired", "true"}, {"x", "1"}}), "eInvalidArgument"},
    };
    for (const Case& c : cases) {
        zep.clearCalls();
        EXPECT_EQ(error(run(c.command, c.content)), c.expectedError) << c.command;
        EXPECT_TRUE(zep.calls().empty()) << c.command << " called " << zep.calls().front();
    }
    // The content-less ones: any key is a syntax error, no content at all an invalid one.
    for (const char* command : kContentless) {
        zep.clearCalls();
        EXPECT_EQ(error(run(command, obj({{"now", "true"}}))), "eSyntaxError") << command;
        EXPECT_EQ(error(run(command, nullptr)), "eInvalidArgument") << command;
        EXPECT_TRUE(zep.calls().empty()) << command;
    }
}

TEST_F(SsoTasksTest, FrameworkGetsTheParametersAndItsCodesReachThePage) {
    const std::string url = "http://127.0.0.1/sso-done?code=one-time-code&state=s";
    EXPECT_EQ(error(run("ssoNavigationCompleted", navigation("1", url))), kAbsent);
    EXPECT_EQ(zep.lastArgs("ssoNavigationCompleted"), (std::vector<std::string>{"1", url, "<html></html>"}));
    // The address carries a one-time code: never logged.
    EXPECT_FALSE(log.contains("one-time-code"));
    EXPECT_EQ(error(run("unsuppressSSOSessionExpiryPrompt", obj({{"promptIfExpired", "true"}}))), kAbsent);
    EXPECT_EQ(zep.lastArgs("unsuppressSSOSessionExpiryPrompt"), (std::vector<std::string>{"true"}));

    zep.setSessionTimeOut(5400000000LL);  // beyond 32 bits, still a number
    const Ptree time = run("getSSOSessionTimeRemaining", obj({}));
    EXPECT_EQ(error(time), kAbsent);
    EXPECT_EQ(time.get<std::string>("content.time"), "5400000000");
    EXPECT_NE(lastText.find("\"time\": 5400000000"), std::string::npos) << lastText;

    for (const char* command :
         {"ssoNavigationCompleted", "restablishSSOSession", "getSSOSessionTimeRemaining", "cancelSingleSignOn",
          "suppressSSOSessionExpiryPrompt", "unsuppressSSOSessionExpiryPrompt"}) {
        zep.setResult(command, ApiReturnCodeEnum::eInvalidState);
        const auto content = std::string(command) == "ssoNavigationCompleted" ? navigation("0", url)
                             : std::string(command) == "unsuppressSSOSessionExpiryPrompt"
                                 ? obj({{"promptIfExpired", "false"}})
                                 : obj({});
        const Ptree reply = run(command, content);
        EXPECT_EQ(error(reply), "eInvalidState") << command;
        EXPECT_FALSE(reply.get_child_optional("content")) << command;
    }
}

TEST_F(SsoTasksTest, WithoutARequestOrAFramework) {
    // ssoNavigationCompleted needs its request message; without one it stays silent.
    spOut->clear();
    kTasks.at("ssoNavigationCompleted")(context("ssoNavigationCompleted", nullptr, false));
    EXPECT_EQ(spOut->size(), 0u);
    EXPECT_TRUE(log.contains("UNEXPECTED SsoNavigationCompletedTask::execute, no spSDKClientMessage"));

    spCmdcli->setZepWrapper(nullptr);
    // getSSOSessionTimeRemaining keeps its syntax error; the others fail the operation.
    EXPECT_EQ(error(run("getSSOSessionTimeRemaining", obj({}))), "eSyntaxError");
    EXPECT_EQ(error(run("cancelSingleSignOn", obj({}))), "eOperationFailed");
    EXPECT_EQ(error(run("ssoNavigationCompleted", navigation("0", "u"))), "eOperationFailed");
}

}  // namespace
