#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "CapturingSink.h"
#include "FakeZepWCmdClient.h"
#include "FakeZepWrapper.h"
#include "dispatch/ITaskContext.h"
#include "dispatch/TaskContext.h"
#include "messages/Ptree.h"

namespace tessel {
namespace test {

// Runs one command task of a kind on a context.
using TaskRunner = std::function<void(std::shared_ptr<ITaskContext>)>;

template <class T>
void runTask(std::shared_ptr<ITaskContext> ctx) {
    T task;
    task.setContext(ctx);
    task.execute();
}

// A content object of plain string members: the codec types "3" and "true"
// the same way, so strings suffice.
std::shared_ptr<Ptree> obj(std::initializer_list<std::pair<std::string, std::string>> members);

// Command tasks run one at a time against the scriptable framework fake, with
// a capturing log and reply sink, for a page on "trusted.example".
class TaskBench : public ::testing::Test {
protected:
    static constexpr const char* kAbsent = "<absent>";

    explicit TaskBench(const std::map<std::string, TaskRunner>& tasks);

    std::shared_ptr<TaskContext> context(const std::string& name, std::shared_ptr<Ptree> content,
                                         bool withMessage = true);
    // The command's only reply (its server message), failing the test when
    // there is not exactly one; lastText keeps the reply's JSON text.
    Ptree run(const std::string& name, std::shared_ptr<Ptree> content);
    static std::string error(const Ptree& reply);

    CapturingLog log;
    FakeZepWrapper zep;
    std::shared_ptr<CapturingSink> spOut = std::make_shared<CapturingSink>();
    std::shared_ptr<FakeZepWCmdClient> spCmdcli = std::make_shared<FakeZepWCmdClient>();
    std::string lastText;
    // The task handler's flag: whether the Chromium-family browser started the host.
    bool runByChrome = false;

private:
    const std::map<std::string, TaskRunner>& m_tasks;
};

}  // namespace test
}  // namespace tessel
