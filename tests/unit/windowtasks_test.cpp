// The external-window and docking commands, each made from its row of the
// command table and run against the scriptable framework fake: what reaches
// the framework, what is refused before it, which replies a page gets, and
// the window's own hide button going through the same command.
#include <climits>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "CommandTable.h"
#include "TaskBench.h"
#include "bridge/ZepWExternalWindowObserverImpl.h"
#include "clients/ClientManager.h"
#include "dispatch/TaskHandler.h"
#include "dispatch/TaskRegistry.h"
#include "messages/ApiReturnCode.h"

using namespace tessel;
using namespace tessel::test;

namespace {

const char* const kCommands[] = {
    "showCallInExternalWindow",
    "hideExternalWindow",
    "showPreviewInExternalWindow",
    "getExternalWindowState",
    "setExternalWindowAlwaysOnTop",
    "setExternalWindowShowControls",
    "setExternalWindowShowSelfViewPip",
    "setExternalWindowTitle",
    "addPreviewWindow",
    "removePreviewWindow",
    "addWindowToCall",
    "removeWindowFromCall",
    "dockExternalWindow",
    "dockUpdate",
    "undockExternalWindow",
};

const std::map<std::string, TaskRunner>& tasks() {
    static const std::map<std::string, TaskRunner> runners = [] {
        std::map<std::string, TaskRunner> m;
        for (const char* name : kCommands) {
            m[name] = [name](std::shared_ptr<ITaskContext> ctx) {
                auto task = commandTable()->getTaskForName(name);
                task->setContext(ctx);
                task->execute();
            };
        }
        return m;
    }();
    return runners;
}

// A valid docking request with some members replaced; "-" removes one.
std::shared_ptr<Ptree> dock(bool update, std::map<std::string, std::string> changes = {}) {
    std::map<std::string, std::string> members = {{"offsetX", "-20"},   {"offsetY", "35"},     {"width", "640"},
                                                  {"height", "480"},    {"cropOffsetX", "40"}, {"cropOffsetY", "10"},
                                                  {"cropWidth", "600"}, {"cropHeight", "470"}};
    members[update ? "pageWidth" : "title"] = update ? "1280" : "Call 4";
    if (update) members["pageHeight"] = "-1";
    for (const auto& change : changes) members[change.first] = change.second;
    auto content = std::make_shared<Ptree>();
    for (const auto& m : members)
        if (m.second != "-") content->push_back(std::make_pair(m.first, Ptree(m.second)));
    return content;
}

class WindowTasksTest : public TaskBench {
protected:
    WindowTasksTest() : TaskBench(tasks()) { runByChrome = true; }

    // Runs a command that must not reach the framework; returns its error.
    std::string refused(const std::string& command, std::shared_ptr<Ptree> content) {
        zep.clearCalls();
        log.clear();
        std::string code = error(run(command, content));
        EXPECT_TRUE(zep.calls().empty()) << command << " called " << zep.calls().front();
        return code;
    }
};

}  // namespace

TEST_F(WindowTasksTest, OperationsReachTheFrameworkAndItsCodeIsTheReply) {
    const struct {
        const char* command;
        std::shared_ptr<Ptree> content;
        const char* frameworkCall;
    } cases[] = {
        {"showCallInExternalWindow", obj({{"callId", "4"}}), "showCallInExternalWindow(4)"},
        {"setExternalWindowAlwaysOnTop", obj({{"alwaysOnTop", "true"}}), "setExternalWindowAlwaysOnTop(true)"},
        {"setExternalWindowShowControls", obj({{"showControls", "false"}}), "setExternalWindowShowControls(false)"},
        {"setExternalWindowShowSelfViewPip", obj({{"showSelfViewPip", "true"}}),
         "setExternalWindowShowSelfViewPip(true)"},
        {"setExternalWindowTitle", obj({{"title", "Bob \u00e9"}}), "setExternalWindowTitle(Bob \u00e9)"},
        {"addPreviewWindow", nullptr, "addPreviewWindow()"},
        {"removePreviewWindow", obj({}), "removePreviewWindow()"},
        {"addWindowToCall", obj({{"callId", "2"}}), "addWindowToCall(2)"},
        {"removeWindowFromCall", obj({{"callId", "3"}}), "removeWindowFromCall(3)"},
        // A negative offset is accepted; the crop may reach the window's edge exactly.
        {"dockExternalWindow", dock(false), "dockExternalWindow(-20, 35, 640, 480, Call 4, 40, 10, 600, 470)"},
        {"undockExternalWindow", nullptr, "undockExternalWindow()"},
    };
    for (const auto& c : cases) {
        const std::string operation = std::string(c.frameworkCall).substr(0, std::string(c.frameworkCall).find('('));
        zep.clearCalls();
        zep.setResult(operation, 0);
        Ptree reply = run(c.command, c.content);
        EXPECT_EQ(error(reply), kAbsent) << c.command;
        EXPECT_EQ(reply.count("content"), 0u) << c.command;
        EXPECT_EQ(zep.calls(), std::vector<std::string>{c.frameworkCall}) << c.command;
        zep.setResult(operation, ApiReturnCodeEnum::eNoWindowExists);
        EXPECT_EQ(error(run(c.command, c.content)), "eNoWindowExists") << c.command;
    }
    EXPECT_TRUE(log.contains(
        "DockExternalWindowTask: offsetX=-20, offsetY=35, width=640, height=480, title= Call 4, cropOffsetX=40, "
        "cropOffsetY=10, cropWidth=600, cropHeight=470"));
}

TEST_F(WindowTasksTest, ShowHideAndStateAreAcknowledgedWhateverTheFrameworkSays) {
    for (const char* command : {"hideExternalWindow", "showPreviewInExternalWindow", "getExternalWindowState"}) {
        zep.clearCalls();
        zep.setResult(command, ApiReturnCodeEnum::eNoWindowExists);
        Ptree reply = run(command, nullptr);
        EXPECT_EQ(error(reply), kAbsent) << command;
        EXPECT_EQ(reply.count("content"), 0u) << command;
        EXPECT_EQ(zep.calls(), std::vector<std::string>{std::string(command) + "()"});
    }
}

TEST_F(WindowTasksTest, DockUpdateAnswersOnlyAFailure) {
    tasks().at("dockUpdate")(context("dockUpdate", dock(true)));
    EXPECT_EQ(spOut->size(), 0u);
    EXPECT_EQ(zep.calls(), std::vector<std::string>{"dockUpdate(-20, 35, 640, 480, 1280, -1, 40, 10, 600, 470)"});
    zep.setResult("dockUpdate", ApiReturnCodeEnum::eNoWindowExists);
    EXPECT_EQ(error(run("dockUpdate", dock(true))), "eNoWindowExists");
}

TEST_F(WindowTasksTest, DockingGeometryOutsideTheWindowIsRefused) {
    const struct {
        std::map<std::string, std::string> changes;
        const char* line;  // after "<Task> - "
    } cases[] = {
        {{{"cropWidth", "601"}},
         "cropping area out of window bounds: width=640, height=480, cropOffsetX=40, cropOffsetY=10, cropWidth=601, "
         "cropHeight=470"},
        {{{"cropOffsetY", "11"}}, "cropping area out of window bounds: width=640, height=480, cropOffsetX=40, "},
        {{{"cropHeight", "-1"}},
         "Value(s) less then zero: width=640, height=480, cropOffsetX=40, cropOffsetY=10, "
         "cropWidth=600, cropHeight=-1"},
        {{{"width", "-640"}}, "Value(s) less then zero: width=-640, "},
        // Two large values must not wrap round under the bound.
        {{{"width", std::to_string(INT_MAX)}, {"cropOffsetX", std::to_string(INT_MAX)}, {"cropWidth", "1"}},
         "cropping area out of window bounds: width=2147483647, "},
    };
    for (const bool update : {false, true}) {
        const char* command = update ? "dockUpdate" : "dockExternalWindow";
        const std::string task = update ? "DockUpdateTask - " : "DockExternalWindowTask - ";
        for (const auto& c : cases) {
            EXPECT_EQ(refused(command, dock(update, c.changes)), "eInvalidArgument") << command << " " << c.line;
            EXPECT_TRUE(log.contains(task + c.line)) << command << " " << c.line;
        }
        // Missing, left over or not a number.
        for (const auto& changes : std::vector<std::map<std::string, std::string>>{
                 {{"cropHeight", "-"}}, {{"zoom", "2"}}, {{"offsetY", "top"}}, {{"height", "4294967296"}}}) {
            EXPECT_EQ(refused(command, dock(update, changes)), "eInvalidArgument") << command;
        }
    }
    EXPECT_EQ(refused("dockExternalWindow", dock(false, {{"title", "-"}})), "eInvalidArgument");
}

TEST_F(WindowTasksTest, ContentOfTheWrongShapeIsRefusedBeforeTheFramework) {
    const struct {
        const char* command;
        std::shared_ptr<Ptree> content;
        const char* expectedError;
        const char* line;  // null: the parameter readers' own
    } cases[] = {
        {"hideExternalWindow", obj({{"x", "1"}}), "eSyntaxError", "Syntax error: no input content should be specified"},
        {"showPreviewInExternalWindow", obj({{"x", "1"}}), "eSyntaxError", "no input content should be specified"},
        {"getExternalWindowState", obj({{"x", "1"}}), "eSyntaxError", "no input content should be specified"},
        {"undockExternalWindow", obj({{"x", "1"}}), "eSyntaxError", "no input content should be specified"},
        {"addPreviewWindow", obj({{"x", "1"}}), "eSyntaxError", "Syntax error: content is specified, should be empty"},
        {"removePreviewWindow", obj({{"x", "1"}}), "eSyntaxError", "content is specified, should be empty"},
        {"addWindowToCall", obj({}), "eSyntaxError", "Syntax error: no input content is specified"},
        {"addWindowToCall", nullptr, "eSyntaxError", "Syntax error: no input content is specified"},
        {"removeWindowFromCall", nullptr, "eSyntaxError", "Syntax error: no input content is specified"},
        {"removeWindowFromCall", obj({{"callId", "3"}, {"callId", "4"}}), "eInvalidArgument", nullptr},
        {"showCallInExternalWindow", obj({{"callId", "first"}}), "eInvalidCallId", nullptr},
        {"setExternalWindowAlwaysOnTop", obj({{"alwaysOnTop", "maybe"}}), "eInvalidArgument", nullptr},
        {"setExternalWindowShowControls", obj({}), "eInvalidArgument", nullptr},
        {"setExternalWindowTitle", obj({{"title", "t"}, {"icon", "i"}}), "eInvalidArgument", nullptr},
        {"setExternalWindowShowSelfViewPip", nullptr, "eInvalidArgument", nullptr},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(refused(c.command, c.content), c.expectedError) << c.command;
        if (c.line != nullptr) {
            EXPECT_TRUE(log.contains(c.line)) << c.command << ": " << c.line;
        }
    }
}

TEST_F(WindowTasksTest, DockingOutsideChromeIsRefusedBeforeAnyOtherCheck) {
    runByChrome = false;
    const std::pair<const char*, std::string> commands[] = {{"dockExternalWindow", "DockExternalWindowTask"},
                                                            {"dockUpdate", "DockUpdateTask"},
                                                            {"undockExternalWindow", "UndockExternalWindowTask"}};
    for (const auto& command : commands) {
        for (ZepWrapperAPI* framework : {static_cast<ZepWrapperAPI*>(&zep), static_cast<ZepWrapperAPI*>(nullptr)}) {
            spCmdcli->setZepWrapper(framework);
            EXPECT_EQ(refused(command.first, obj({{"x", "1"}})), "eOperationFailed") << command.first;
            const std::vector<std::string> lines = log.texts();
            ASSERT_GE(lines.size(), 2u) << command.first;
            EXPECT_EQ(lines[0], command.second + "::execute");
            EXPECT_EQ(lines[1], command.second + " docking not supported in non-Chrome browsers!");
        }
    }
}

TEST_F(WindowTasksTest, WithoutAFrameworkEveryCommandAnswersOperationFailed) {
    spCmdcli->setZepWrapper(nullptr);
    for (const char* command : kCommands) {
        EXPECT_EQ(error(run(command, obj({{"callId", "1"}}))), "eOperationFailed") << command;
    }
}

// The window's hide button queues "hideExternalWindow" by name with no page
// behind it: the command from the table must still hide the window.
TEST(WindowHideButton, HidesTheWindowThroughTheRegisteredCommand) {
    CapturingLog log;
    FakeZepWrapper zep;
    auto spQueue = std::make_shared<CapturingSink>();
    auto spOut = std::make_shared<CapturingSink>();
    auto spCmdcli = std::make_shared<FakeZepWCmdClient>();
    spCmdcli->setZepWrapper(&zep);
    auto spClients = std::make_shared<ClientManager>();
    auto observer = std::make_shared<ZepWExternalWindowObserverImpl>();
    observer->setLog(&log);
    observer->setTaskSink(spQueue);
    observer->setTaskRegistry(commandTable());
    auto handler = std::make_shared<TaskHandler>();
    handler->setLog(&log);
    handler->setTaskDoneSink(spOut);
    handler->setTaskRegistry(commandTable());
    handler->setClientManager(spClients);
    handler->setZepCmdcli(spCmdcli);

    observer->onExternalWindowHideWindow();
    ASSERT_EQ(spQueue->size(), 1u);
    handler->processTask(spQueue->tasks().front());
    EXPECT_EQ(zep.calls(), std::vector<std::string>{"hideExternalWindow()"});
    EXPECT_EQ(spOut->size(), 0u) << "no page to answer";
}
