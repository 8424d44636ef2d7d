// The event manager with its seven real observers over a scriptable
// framework: wiring, registration, and the road of an event into the queue.
#include "bridge/EventManager.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "CapturingSink.h"
#include "FakeZepWrapper.h"
#include "bridge/ManagedEventObserverBase.h"
#include "bridge/ZepWStartupObserverImpl.h"
#include "dispatch/HandleKnownContentEventTask.h"
#include "dispatch/ITaskSink.h"
#include "dispatch/TaskQueue.h"
#include "dispatch/TaskRegistry.h"

using namespace tessel;
using tessel::test::CapturingLog;
using tessel::test::CapturingSink;
using tessel::test::FakeZepWrapper;

namespace {

std::vector<std::string> sorted(std::vector<std::string> values) {
    std::sort(values.begin(), values.end());
    return values;
}

class EventManagerTest : public ::testing::Test {
protected:
    void configure(ZepWrapperAPI* api) {
        spManager = std::make_shared<EventManager>();
        spManager->setTaskRegistry(spRegistry);
        spManager->configure(&log, api, spSink);
    }

    void fireConnectionStatus(const std::string& status) {
        fake.fire<ZepConnectionObserver>([&](ZepConnectionObserver& o) { o.onConnectionStatusChange(status); });
    }

    // Fires on observers the test kept, whether or not still registered.

    CapturingLog log;
    FakeZepWrapper fake;
    std::shared_ptr<CapturingSink> spSink = std::make_shared<CapturingSink>();
    std::shared_ptr<TaskRegistry> spRegistry = std::make_shared<TaskRegistry>();
    std::shared_ptr<EventManager> spManager;
};

}  // namespace

TEST_F(EventManagerTest, RegistersAndUnregistersEachOfTheSevenObserverKindsOnce) {
    configure(&fake);
    spManager->registerAll();

    EXPECT_EQ(sorted(fake.calls()),
              sorted({"registerObserver(callstate)", "registerObserver(certificate)", "registerObserver(connection)",
                      "registerObserver(externalwindow)", "registerObserver(login)", "registerObserver(mediadevice)",
                      "registerObserver(startup)"}));

    spManager->unregisterAll();
    EXPECT_EQ(fake.callCount("unregisterObserver"), 7u);
    EXPECT_TRUE(fake.observers().empty());
}

TEST_F(EventManagerTest, ObserversAreWiredToTheRegistryButNeverTheQueueAndEventsArrive) {
    configure(&fake);
    auto extra = std::make_shared<ZepWStartupObserverImpl>();
    spManager->addObserver(extra);
    spManager->addObserver(extra);  // added twice, registered once
    spManager->registerAll();
    EXPECT_EQ(fake.callCount("registerObserver"), 8u);
    EXPECT_EQ(fake.observersOf<ZepStartupObserver>().size(), 2u);

    for (const auto& observer : fake.observers()) {
        auto base = std::dynamic_pointer_cast<ManagedEventObserverBase>(observer);
        ASSERT_TRUE(base != nullptr);
        EXPECT_EQ(base->getLog(), &log);
        EXPECT_EQ(base->getTaskRegistry(), spRegistry);
        EXPECT_EQ(base->getZepW(), &fake);
        ASSERT_TRUE(base->getTaskSink() != nullptr);
        EXPECT_NE(base->getTaskSink().get(), static_cast<ITaskSink*>(spSink.get()));
    }

    fireConnectionStatus("connected");
    auto events = spSink->tasksOf<HandleKnownContentEventTask>();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]->getEventName(), "connectionstatuschange");
    EXPECT_EQ(events[0]->getContent()->data(), "connected");
}

// Events fired from a framework thread while shutdown unregisters: nothing may
// reach the queue once unregisterAll has returned.
TEST_F(EventManagerTest, NoEventGetsThroughAfterUnregisterAllReturns) {
    configure(&fake);
    spManager->registerAll();
    std::vector<std::shared_ptr<ZepConnectionObserver>> held = fake.observersOf<ZepConnectionObserver>();
    ASSERT_EQ(held.size(), 1u);

    std::atomic<bool> started{false};
    std::thread framework([&] {
        for (int i = 0; i < 2000; ++i) {
            held[0]->onConnectionStatusChange("s" + std::to_string(i));
            started = true;
        }
    });
    while (!started) {
        std::this_thread::yield();
    }
    spManager->unregisterAll();
    const size_t countAtUnregister = spSink->size();
    framework.join();

    EXPECT_GT(countAtUnregister, 0u);
    EXPECT_EQ(spSink->size(), countAtUnregister);
}
