// Task context, task queue and the task handler thread.

#include "dispatch/TaskQueue.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "FakeZepWCmdClient.h"
#include "clients/ClientManager.h"
#include "dispatch/TaskContext.h"
#include "dispatch/TaskHandler.h"
#include "dispatch/TaskImpl.h"
#include "dispatch/TaskRegistry.h"
#include "messages/ChannelClient.h"
#include "messages/SDKClientMessage.h"

namespace {

using tessel::ChannelClient;
using tessel::ClientManager;
using tessel::ITask;
using tessel::ITaskContext;
using tessel::ITaskSourceObserver;
using tessel::SDKClientMessage;
using tessel::TaskContext;
using tessel::TaskHandler;
using tessel::TaskQueue;
using tessel::TaskRegistry;
using tessel::test::CapturingLog;
using tessel::test::FakeZepWCmdClient;

// Records, when executed, its name, its thread and the context it was given.
class RecordingTask : public tessel::TaskImpl {
public:
    struct Journal {
        std::mutex mutex;
        std::vector<std::string> names;
        std::vector<pthread_t> threads;
    };

    RecordingTask(std::string name, std::shared_ptr<Journal> journal)
        : m_name(std::move(name)), m_journal(std::move(journal)) {}

    void execute() override {
        executedContext = getTaskContext();
        std::lock_guard<std::mutex> lock(m_journal->mutex);
        m_journal->names.push_back(m_name);
        m_journal->threads.push_back(pthread_self());
    }

    std::shared_ptr<ITaskContext> executedContext;

private:
    std::string m_name;
    std::shared_ptr<Journal> m_journal;
};

class CountingObserver : public ITaskSourceObserver {
public:
    void notifyNewTask() override { ++count; }
    std::atomic<int> count{0};
};

std::shared_ptr<RecordingTask> makeTask(const std::string& name, const std::shared_ptr<RecordingTask::Journal>& j) {
    return std::make_shared<RecordingTask>(name, j);
}

// ---------------------------------------------------------------- TaskQueue

TEST(TaskQueueTest, PopsInOrderAndNotifiesOnlyTheCurrentObserver) {
    auto journal = std::make_shared<RecordingTask::Journal>();
    TaskQueue queue;
    std::shared_ptr<ITask> spTask;
    EXPECT_FALSE(queue.pop(spTask));  // never waits when empty
    EXPECT_FALSE(spTask);

    auto first = std::make_shared<CountingObserver>();
    auto second = std::make_shared<CountingObserver>();
    std::vector<std::shared_ptr<ITask>> pushed{makeTask("before", journal)};  // nobody to notify yet
    queue.push(pushed.back());
    queue.registerObserver(first);
    pushed.push_back(makeTask("1", journal));
    queue.push(pushed.back());
    queue.registerObserver(second);  // replaces the first
    for (const char* name : {"2", "3"}) {
        pushed.push_back(makeTask(name, journal));
        queue.push(pushed.back());
    }
    EXPECT_EQ(first->count, 1);
    EXPECT_EQ(second->count, 2);
    queue.unregisterObserver();
    pushed.push_back(makeTask("4", journal));
    queue.push(pushed.back());
    EXPECT_EQ(second->count, 2);
    // The queue holds its observer weakly: a gone observer is no observer.
    queue.registerObserver(first);
    first.reset();
    pushed.push_back(makeTask("5", journal));
    queue.push(pushed.back());

    std::vector<std::shared_ptr<ITask>> popped;
    while (queue.pop(spTask)) {
        popped.push_back(spTask);
    }
    EXPECT_EQ(popped, pushed);
}

TEST(TaskQueueTest, ManyPushersOneConsumerLoseNothing) {
    auto journal = std::make_shared<RecordingTask::Journal>();
    TaskQueue queue;
    auto observer = std::make_shared<CountingObserver>();
    queue.registerObserver(observer);
    const int kPushers = 4;
    const int kTasks = 500;
    std::vector<std::thread> pushers;
    for (int p = 0; p < kPushers; ++p) {
        pushers.emplace_back([&, p] {
            for (int i = 0; i < kTasks; ++i) {
                queue.push(makeTask(std::to_string(p) + ":" + std::to_string(i), journal));
            }
        });
    }
    std::vector<int> next(kPushers, 0);
    int popped = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (popped < kPushers * kTasks && std::chrono::steady_clock::now() < deadline) {
        std::shared_ptr<ITask> spTask;
        if (!queue.pop(spTask)) {
            std::this_thread::yield();
            continue;
        }
        spTask->execute();
        ++popped;
    }
    for (auto& pusher : pushers) {
        pusher.join();
    }
    ASSERT_EQ(popped, kPushers * kTasks);
    EXPECT_EQ(observer->count, kPushers * kTasks);
    // Each pusher's tasks come out in the order it pushed them.
    for (const auto& name : journal->names) {
        size_t colon = name.find(':');
        int p = std::stoi(name.substr(0, colon));
        EXPECT_EQ(std::stoi(name.substr(colon + 1)), next[p]++);
    }
}

// ---------------------------------------------------------------- TaskHandler::processTask

class ProcessTaskTest : public testing::Test {
protected:
    void SetUp() override {
        m_spHandler->setLog(&m_log);
        m_spHandler->setTaskDoneSink(m_spOutQueue);
        m_spHandler->setTaskRegistry(m_spRegistry);
        m_spHandler->setClientManager(m_spClientManager);
        m_spHandler->setZepCmdcli(m_spCmdcli);
        m_spHandler->setIsRunByChrome(true);
    }

    CapturingLog m_log;
    std::shared_ptr<RecordingTask::Journal> m_journal = std::make_shared<RecordingTask::Journal>();
    std::shared_ptr<TaskQueue> m_spOutQueue = std::make_shared<TaskQueue>();
    std::shared_ptr<TaskRegistry> m_spRegistry = std::make_shared<TaskRegistry>();
    std::shared_ptr<ClientManager> m_spClientManager = std::make_shared<ClientManager>();
    std::shared_ptr<FakeZepWCmdClient> m_spCmdcli = std::make_shared<FakeZepWCmdClient>();
    std::shared_ptr<TaskHandler> m_spHandler = std::make_shared<TaskHandler>();
};

TEST_F(ProcessTaskTest, FillsInTheServicesAndKeepsATasksOwnClientAndRequest) {
    auto fresh = makeTask("A", m_journal);
    auto spClient = std::make_shared<ChannelClient>();
    auto spMessage = std::make_shared<SDKClientMessage>();
    auto spContext = std::make_shared<TaskContext>();
    spContext->setChannelClient(spClient);
    spContext->setSDKClientMessage(spMessage);
    spContext->setIsWin32Platform(true);  // the handler's flags win
    auto request = makeTask("B", m_journal);
    request->setContext(spContext);
    m_spHandler->processTask(fresh);
    m_spHandler->processTask(request);
    ASSERT_EQ(m_journal->names, (std::vector<std::string>{"A", "B"}));
    ASSERT_TRUE(fresh->executedContext);
    ASSERT_EQ(request->executedContext, spContext);  // the same object, filled in
    for (const auto& ctx : {fresh->executedContext, request->executedContext}) {
        EXPECT_EQ(ctx->getLog(), &m_log);
        EXPECT_EQ(ctx->getTaskDoneSink(), m_spOutQueue);
        EXPECT_EQ(ctx->getTaskRegistry(), m_spRegistry);
        EXPECT_EQ(ctx->getClientManager(), m_spClientManager);
        EXPECT_EQ(ctx->getZepCmdcli(), m_spCmdcli);
        EXPECT_TRUE(ctx->getIsRunByChrome());
        EXPECT_FALSE(ctx->getIsWin32Platform());
    }
    EXPECT_FALSE(fresh->executedContext->getChannelClient() || fresh->executedContext->getSDKClientMessage());
    EXPECT_EQ(spContext->getChannelClient(), spClient);
    EXPECT_EQ(spContext->getSDKClientMessage(), spMessage);
}

TEST_F(ProcessTaskTest, AMissingCollaboratorSkipsTheTask) {
    const std::vector<std::function<void(TaskHandler&)>> unsets = {
        [](TaskHandler& h) { h.setTaskDoneSink(nullptr); },  [](TaskHandler& h) { h.setTaskRegistry(nullptr); },
        [](TaskHandler& h) { h.setClientManager(nullptr); }, [](TaskHandler& h) { h.setZepCmdcli(nullptr); },
        [](TaskHandler& h) { h.setLog(nullptr); },
    };
    for (size_t i = 0; i < unsets.size(); ++i) {
        SCOPED_TRACE(i);
        SetUp();
        unsets[i](*m_spHandler);
        m_spHandler->processTask(makeTask("A", m_journal));
        EXPECT_TRUE(m_journal->names.empty());
    }
    // Held weakly: a collaborator its owner dropped counts as missing.
    SetUp();
    m_spClientManager.reset();
    m_spHandler->processTask(makeTask("C", m_journal));
    EXPECT_TRUE(m_journal->names.empty());
}

// ---------------------------------------------------------------- TaskHandler thread

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TEST_F(ProcessTaskTest, HandlerThreadExecutesQueuedTasksInOrderAndStopsTheFramework) {
    auto spInQueue = std::make_shared<TaskQueue>();
    m_spHandler->setTaskSource(spInQueue);
    // The reader may push the first request before the handler has
    // registered itself; nothing else will wake it for that request.
    spInQueue->push(makeTask("early", m_journal));
    ASSERT_EQ(m_spHandler->start(), 0);
    ASSERT_TRUE(m_log.waitFor("execute task", std::chrono::seconds(10)));
    // Before the framework runs, an idle handler sleeps: nothing to pump
    // (beyond the turns right after the task).
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const int asleep = m_spCmdcli->pumpCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(m_spCmdcli->pumpCount(), asleep);
    // Once it runs, the idle handler gives it its turns; a task wakes it to see that.
    m_spCmdcli->setStarted(true);
    spInQueue->push(makeTask("wake", m_journal));
    ASSERT_TRUE(waitUntil([&] { return m_spCmdcli->pumpCount() >= asleep + 5; }, std::chrono::seconds(10)));

    for (const char* name : {"A", "B"}) {
        spInQueue->push(makeTask(name, m_journal));
    }
    ASSERT_TRUE(m_log.waitFor("execute task", std::chrono::seconds(10), 4));
    m_spHandler->stop();
    EXPECT_FALSE(m_spHandler->join());

    EXPECT_EQ(m_journal->names, (std::vector<std::string>{"early", "wake", "A", "B"}));
    for (pthread_t thread : m_journal->threads) {
        EXPECT_FALSE(pthread_equal(thread, pthread_self()));
    }
    EXPECT_EQ(m_spCmdcli->stopCount(), 1);
}

TEST_F(ProcessTaskTest, RunningFrameworkIsPumpedWhenItsWorkIsDueOrItWakesTheHandler) {
    auto spInQueue = std::make_shared<TaskQueue>();
    m_spHandler->setTaskSource(spInQueue);
    m_spCmdcli->setStarted(true);
    m_spCmdcli->setIdleMs(60 * 60 * 1000);  // an hour: the handler still looks every second
    ASSERT_EQ(m_spHandler->start(), 0);
    ASSERT_TRUE(m_log.waitFor("Task handler running", std::chrono::seconds(10)));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));

    // Idle: a pump a second at most, not one a millisecond.
    int before = m_spCmdcli->pumpCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    const int idlePumps = m_spCmdcli->pumpCount() - before;
    EXPECT_GE(idlePumps, 1) << "a framework that misjudges its timers still gets its turn";
    EXPECT_LE(idlePumps, 3);

    // Work from another of the framework's threads is pumped at once.
    for (int i = 0; i < 3; ++i) {
        before = m_spCmdcli->pumpCount();
        ASSERT_TRUE(m_spCmdcli->wakeFromFramework()) << "the handler gave the framework a way to wake it";
        EXPECT_TRUE(waitUntil([&] { return m_spCmdcli->pumpCount() > before; }, std::chrono::milliseconds(500)));
    }

    // A framework with work due every 10 ms gets about a hundred turns a second.
    m_spCmdcli->setIdleMs(10);
    spInQueue->push(makeTask("wake", m_journal));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    before = m_spCmdcli->pumpCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const int busyPumps = m_spCmdcli->pumpCount() - before;
    EXPECT_GE(busyPumps, 10);
    EXPECT_LE(busyPumps, 100);

    m_spHandler->stop();
    EXPECT_FALSE(m_spHandler->join());
    EXPECT_FALSE(m_spCmdcli->wakeFromFramework()) << "no wake-up into a handler that is gone";
}

TEST_F(ProcessTaskTest, HandlerThreadEndsWhenItsTaskSourceIsGone) {
    ASSERT_EQ(m_spHandler->start(), 0);
    ASSERT_TRUE(m_log.waitFor("Task handler running", std::chrono::seconds(10)));
    m_spHandler->notifyNewTask();
    ASSERT_TRUE(m_log.waitFor("Task handler exiting", std::chrono::seconds(10)));
    EXPECT_FALSE(m_spHandler->join());
    EXPECT_EQ(m_spCmdcli->stopCount(), 1);
}

}  // namespace
