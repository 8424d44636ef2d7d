// "handleInvalidCertificate" against the scriptable framework fake; replies are
// read back from the outbound JSON texts.
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "TaskBench.h"
#include "tasks/signin/HandleInvalidCertificateTask.h"

using namespace tessel;
using namespace tessel::test;

namespace {

const char* const kCommand = "handleInvalidCertificate";
const char* const kFingerprint =
    "3A:7F:00:11:22:33:44:55:66:77:88:99:AA:BB:CC:DD:EE:FF:01:23:45:67:89:AB:CD:EF:10:32:54:76:98:BA";

const std::map<std::string, TaskRunner> kTasks = {
    {kCommand, runTask<HandleInvalidCertificateTask>},
};

class CertificateTasksTest : public TaskBench {
protected:
    CertificateTasksTest() : TaskBench(kTasks) {}
};

}  // namespace

TEST_F(CertificateTasksTest, DecisionsArePassedOnInOrderWithNoContent) {
    Ptree reply = run(kCommand, obj({{"certFingerprint", kFingerprint}, {"accept", "true"}}));
    EXPECT_EQ(error(reply), kAbsent);
    EXPECT_EQ(reply.get<std::string>("name", ""), kCommand);
    EXPECT_EQ(reply.get<std::string>("replyToMessageId", ""), std::string("m-") + kCommand);
    EXPECT_EQ(reply.count("content"), 0u);
    EXPECT_EQ(zep.calls().back(), std::string("handleInvalidCertificate(") + kFingerprint + ", true)");

    reply = run(kCommand, obj({{"certFingerprint", kFingerprint}, {"accept", "false"}}));
    EXPECT_EQ(error(reply), kAbsent);
    EXPECT_EQ(zep.calls().back(), std::string("handleInvalidCertificate(") + kFingerprint + ", false)");
    EXPECT_EQ(zep.callCount("handleInvalidCertificate"), 2u);
    // The parameter line names the fingerprint and the decision.
    EXPECT_TRUE(log.contains(std::string("certFingerprint=[") + kFingerprint + "] accept=[0]"));
}

TEST_F(CertificateTasksTest, FrameworkCodesReachThePage) {
    const struct {
        int code;
        const char* name;
    } cases[] = {{15, "eInvalidArgument"}, {11, "eInvalidState"}, {20, "eOperationFailed"}};
    for (const auto& c : cases) {
        zep.setResult("handleInvalidCertificate", c.code);
        Ptree reply = run(kCommand, obj({{"certFingerprint", "AA:BB"}, {"accept", "true"}}));
        EXPECT_EQ(error(reply), c.name) << c.code;
    }
    zep.setResult("handleInvalidCertificate", 0);
    EXPECT_EQ(error(run(kCommand, obj({{"certFingerprint", "AA:BB"}, {"accept", "false"}}))), kAbsent);
}

TEST_F(CertificateTasksTest, BadInputIsRefusedBeforeTheFramework) {
    struct Case {
        std::shared_ptr<Ptree> content;
        const char* why;
    };
    const Case cases[] = {
        {nullptr, "no content"},
        {obj({}), "nothing in it"},
        {obj({{"accept", "true"}}), "no fingerprint"},
        {obj({{"certFingerprint", kFingerprint}}), "no decision"},
        // The event's reference id is no fingerprint: a missing required parameter.
        {obj({{"referenceId", "certificate-1"}, {"accept", "true"}}), "referenceId instead of certFingerprint"},
        {obj({{"certFingerprint", kFingerprint}, {"accept", "perhaps"}}), "decision not a boolean"},
        {obj({{"certFingerprint", kFingerprint}, {"accept", "true"}, {"persist", "true"}}), "a key left over"},
        {obj({{"certFingerprint", kFingerprint}, {"certFingerprint", kFingerprint}, {"accept", "true"}}),
         "a key twice"},
    };
    for (const Case& c : cases) {
        zep.clearCalls();
        Ptree reply = run(kCommand, c.content);
        EXPECT_EQ(error(reply), "eInvalidArgument") << c.why;
        EXPECT_EQ(reply.get<std::string>("name", ""), kCommand) << c.why;
        EXPECT_FALSE(zep.wasCalled("handleInvalidCertificate")) << c.why;
    }
}

TEST_F(CertificateTasksTest, MissingCollaborators) {
    // Without a request: one log line and no reply.
    spOut->clear();
    kTasks.at(kCommand)(context(kCommand, nullptr, false));
    EXPECT_EQ(spOut->size(), 0u);
    EXPECT_TRUE(log.contains(
        "UNEXPECTED HandleInvalidCertificateTask::execute, no spSDKClientMessage. Ignore client message."));

    // Without the framework: eOperationFailed, and nothing reaches a framework.
    spCmdcli->setZepWrapper(nullptr);
    EXPECT_EQ(error(run(kCommand, obj({{"certFingerprint", kFingerprint}, {"accept", "true"}}))), "eOperationFailed");
    spCmdcli->setZepWrapper(&zep);
    EXPECT_FALSE(zep.wasCalled("handleInvalidCertificate"));
}
