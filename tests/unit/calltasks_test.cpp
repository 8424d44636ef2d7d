// The call-control tasks and "getCalls" against the scriptable framework fake:
// what reaches the framework, what is refused before it, and what the page reads.
#include <functional>
#include <map>
#include <regex>
#include <string>

#include <gtest/gtest.h>
#include <zepwrapper/ZepCallInfo.h>

#include "TaskBench.h"
#include "tasks/calls/AnswerTask.h"
#include "tasks/calls/CancelTransferTask.h"
#include "tasks/calls/CompleteTransferTask.h"
#include "tasks/calls/EndCallTask.h"
#include "tasks/calls/GetCallsTask.h"
#include "tasks/calls/HoldTask.h"
#include "tasks/calls/IDivertTask.h"
#include "tasks/calls/JoinCallTask.h"
#include "tasks/calls/MuteTask.h"
#include "tasks/calls/OriginateTask.h"
#include "tasks/calls/ResumeTask.h"
#include "tasks/calls/SendDTMFTask.h"
#include "tasks/calls/SetVideoDirectionTask.h"
#include "tasks/calls/TransferCallTask.h"
#include "tasks/calls/UnmuteTask.h"

using namespace tessel;
using namespace tessel::test;

namespace {

const std::map<std::string, TaskRunner> kTasks = {
    {"originate", runTask<OriginateTask>},
    {"answer", runTask<AnswerTask>},
    {"endCall", runTask<EndCallTask>},
    {"hold", runTask<HoldTask>},
    {"resume", runTask<ResumeTask>},
    {"iDivert", runTask<IDivertTask>},
    {"mute", runTask<MuteTask>},
    {"unmute", runTask<UnmuteTask>},
    {"sendDTMF", runTask<SendDTMFTask>},
    {"setVideoDirection", runTask<SetVideoDirectionTask>},
    {"transferCall", runTask<TransferCallTask>},
    {"completeTransfer", runTask<CompleteTransferTask>},
    {"cancelTransfer", runTask<CancelTransferTask>},
    {"joinCalls", runTask<JoinCallTask>},
    {"getCalls", runTask<GetCallsTask>},
};

// One accepted request of every command: what the framework must be asked.
struct Accepted {
    const char* command;
    std::shared_ptr<Ptree> content;
    const char* operation;
    const char* frameworkCall;
};

const std::vector<Accepted>& accepted() {
    static const std::vector<Accepted> cases = {
        {"originate", obj({{"recipient", "1002"}}), "originate", "originate(1002, Inactive, 0)"},
        {"originate",
         obj({{"recipient", "sip:bob@127.0.0.1"}, {"videoDirection", "SendRecv"}, {"windowhandle", "4096"}}),
         "originate", "originate(sip:bob@127.0.0.1, SendRecv, 4096)"},
        {"answer", obj({{"callId", "4"}}), "answer", "answer(4, Inactive, 0)"},
        {"endCall", obj({{"callId", "5"}}), "endCall", "endCall(5)"},
        {"hold", obj({{"callId", "3"}}), "hold", "hold(3)"},
        {"resume", obj({{"callId", "3"}}), "resume", "resume(3)"},
        {"iDivert", obj({{"callId", "7"}}), "iDivert", "iDivert(7)"},
        {"mute", obj({{"callId", "3"}}), "mute", "mute(3, false, false)"},
        {"mute", obj({{"callId", "3"}, {"muteAudio", "true"}}), "mute", "mute(3, true, false)"},
        {"unmute", obj({{"callId", "3"}, {"unmuteVideo", "true"}}), "unmute", "unmute(3, false, true)"},
        {"sendDTMF", obj({{"callId", "2"}, {"digit", "#"}}), "sendDTMF", "sendDTMF(2, #)"},
        {"setVideoDirection", obj({{"callId", "2"}}), "setVideoDirection", "setVideoDirection(2, Inactive)"},
        {"transferCall", obj({{"callId", "1"}, {"transferToNumber", "1003"}}), "transferCall", "transferCall(1, 1003)"},
        {"completeTransfer", obj({{"callId", "1"}}), "completeTransferCall", "completeTransferCall(1)"},
        {"cancelTransfer", obj({{"callId", "9"}}), "cancelTransfer", "cancelTransfer(9)"},
        {"joinCalls", obj({{"callId", "1"}, {"joinCallId", "2"}}), "joinCalls", "joinCalls(1, 2)"},
    };
    return cases;
}

class CallTasksTest : public TaskBench {
protected:
    CallTasksTest() : TaskBench(kTasks) {}
};

}  // namespace

TEST_F(CallTasksTest, EachCommandCallsItsOperationWithParametersAndDefaults) {
    for (const Accepted& c : accepted()) {
        zep.clearCalls();
        Ptree reply = run(c.command, c.content);
        EXPECT_EQ(error(reply), kAbsent) << c.command;
        EXPECT_EQ(reply.get<std::string>("name", ""), c.command);
        ASSERT_EQ(zep.calls().size(), 1u) << c.command;
        EXPECT_EQ(zep.calls().front(), c.frameworkCall);
    }
}

TEST_F(CallTasksTest, EveryKeypadDigitIsSentAndNothingElse) {
    for (const char* digit :
         {"1", "2", "3", "4", "5", "6", "7", "8", "9", "0", "a", "A", "b", "B", "c", "C", "d", "D", "*", "#", "+"}) {
        EXPECT_EQ(error(run("sendDTMF", obj({{"callId", "1"}, {"digit", digit}}))), kAbsent) << digit;
        EXPECT_EQ(zep.lastArgs("sendDTMF").back(), digit);
    }
    zep.clearCalls();
    for (const char* digit : {"10", "E", "e", "", " ", "##", "1 "}) {
        EXPECT_EQ(error(run("sendDTMF", obj({{"callId", "1"}, {"digit", digit}}))), "eInvalidArgument") << digit;
    }
    EXPECT_FALSE(zep.wasCalled("sendDTMF"));
}

TEST_F(CallTasksTest, BadRequestsAreRefusedBeforeTheFramework) {
    struct Case {
        const char* command;
        std::shared_ptr<Ptree> content;
        const char* expectedError;
    };
    const Case cases[] = {
        {"hold", obj({{"callId", "3"}, {"x", "1"}}), "eInvalidArgument"},
        {"hold", nullptr, "eInvalidArgument"},
        {"hold", obj({{"callId", "3"}, {"callId", "4"}}), "eInvalidArgument"},
        // The duplicate check comes first, even when the call id is missing too.
        {"hold", obj({{"x", "1"}, {"x", "2"}}), "eInvalidArgument"},
        {"hold", obj({}), "eInvalidCallId"},
        {"endCall", obj({{"callId", "three"}}), "eInvalidCallId"},
        {"answer", obj({{"callId", "1"}, {"video", "SendRecv"}}), "eInvalidArgument"},
        {"originate", obj({}), "eInvalidArgument"},
        {"originate", obj({{"recipient", "1002"}, {"windowhandle", "-1"}}), "eInvalidArgument"},
        {"mute", obj({{"callId", "1"}, {"muteAudio", "maybe"}}), "eInvalidArgument"},
        {"unmute", obj({{"callId", "1"}, {"muteAudio", "true"}}), "eInvalidArgument"},
        {"sendDTMF", obj({{"callId", "1"}}), "eInvalidArgument"},
        // A wrong-type call id fails before the bad digit is looked at.
        {"sendDTMF", obj({{"callId", "x"}, {"digit", "E"}}), "eInvalidCallId"},
        {"setVideoDirection", obj({{"callId", "1"}, {"direction", "SendOnly"}}), "eInvalidArgument"},
        {"transferCall", obj({{"callId", "1"}}), "eInvalidArgument"},
        {"completeTransfer", obj({{"callId", "1"}, {"to", "1003"}}), "eInvalidArgument"},
        {"cancelTransfer", nullptr, "eInvalidArgument"},
        {"joinCalls", obj({{"callId", "1"}}), "eInvalidCallId"},
        {"iDivert", obj({{"callId", "2147483648"}}), "eInvalidCallId"},
    };
    for (const Case& c : cases) {
        zep.clearCalls();
        Ptree reply = run(c.command, c.content);
        EXPECT_EQ(error(reply), c.expectedError) << c.command << " " << (c.content ? c.content->size() : 0);
        EXPECT_TRUE(zep.calls().empty()) << c.command << " called " << zep.calls().front();
    }
}

TEST_F(CallTasksTest, FrameworkCodesArePassedThroughUnchanged) {
    const int codes[] = {1, 6, 11, 17, 20, 2};
    const std::map<int, std::string> names = {{1, "eInvalidCallId"},       {2, "eCallNotFound"},
                                              {6, "eCallOperationFailed"}, {11, "eInvalidState"},
                                              {17, "eCapabilityMissing"},  {20, "eOperationFailed"}};
    size_t i = 0;
    for (const Accepted& c : accepted()) {
        const int code = codes[i++ % 6];
        zep.setResult(c.operation, code);
        Ptree reply = run(c.command, c.content);
        EXPECT_EQ(error(reply), names.at(code)) << c.command;
        EXPECT_EQ(reply.count("content"), 0u) << c.command;
        zep.setResult(c.operation, 0);
    }
}

TEST_F(CallTasksTest, OriginateRepliesWithTheNewCallIdAsANumber) {
    zep.setOriginateCallIdOut(42);
    Ptree reply = run("originate", obj({{"recipient", "1002"}}));
    EXPECT_EQ(reply.get_child("content").size(), 1u);
    EXPECT_EQ(reply.get<std::string>("content.callId", kAbsent), "42");
    EXPECT_TRUE(std::regex_search(lastText, std::regex("\"callId\"\\s*:\\s*42[,}\\s]"))) << lastText;
}

TEST_F(CallTasksTest, GetCallsListsEveryCallInTheFrameworksOrder) {
    Ptree reply = run("getCalls", nullptr);
    EXPECT_EQ(error(reply), kAbsent);
    EXPECT_TRUE(std::regex_search(lastText, std::regex("\"calls\"\\s*:\\s*\\[\\s*\\]"))) << lastText;

    auto connected = std::make_shared<ZepCallInfo>();
    connected->setCallState("connected");
    connected->setCapabilitySet({"hold", "endCall"});
    zep.setCallsOut({5, 2});
    zep.setCallInfoOut(5, connected);
    zep.clearCalls();
    // The content is not read: anything the page sends is ignored.
    reply = run("getCalls", obj({{"filter", "all"}}));
    EXPECT_EQ(error(reply), kAbsent);
    EXPECT_EQ(zep.calls(), (std::vector<std::string>{"getCalls()", "getCallInfo(5)", "getCallInfo(2)"}));
    const Ptree& calls = reply.get_child("content.calls");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls.front().second.get<std::string>("callId"), "5");
    EXPECT_EQ(calls.front().second.get<std::string>("callEvent"), "evOther");
    EXPECT_EQ(calls.front().second.get<std::string>("callState"), "connected");
    EXPECT_EQ(calls.front().second.get_child("capabilities").size(), 2u);
    // Id 2 has no record any more: it is listed as gone, not dropped.
    EXPECT_EQ(calls.back().second.get<std::string>("callId"), "2");
    EXPECT_EQ(calls.back().second.get<std::string>("exists"), "false");

    zep.setResult("getCalls", 6);
    zep.clearCalls();
    reply = run("getCalls", nullptr);
    EXPECT_EQ(error(reply), "eCallOperationFailed");
    EXPECT_FALSE(zep.wasCalled("getCallInfo"));
}

TEST_F(CallTasksTest, MissingCollaborators) {
    // Without the framework: eOperationFailed, except the two transfer endings.
    spCmdcli->setZepWrapper(nullptr);
    for (const Accepted& c : accepted()) {
        const bool ending = std::string(c.command) == "completeTransfer" || std::string(c.command) == "cancelTransfer";
        EXPECT_EQ(error(run(c.command, c.content)), ending ? "eSyntaxError" : "eOperationFailed") << c.command;
    }
    EXPECT_EQ(error(run("getCalls", nullptr)), "eOperationFailed");
    spCmdcli->setZepWrapper(&zep);

    // Without a request there is no message id to reply to.
    for (const char* command : {"originate", "answer", "hold"}) {
        spOut->clear();
        kTasks.at(command)(context(command, nullptr, false));
        EXPECT_EQ(spOut->size(), 0u) << command;
    }

    // Without a command client nothing is answered at all.
    auto ctx = context("endCall", obj({{"callId", "1"}}));
    ctx->setZepCmdcli(nullptr);
    spOut->clear();
    runTask<EndCallTask>(ctx);
    EXPECT_EQ(spOut->size(), 0u);
    EXPECT_TRUE(zep.calls().empty());
}
