// The event manager with its seven real observers over a scriptable
// framework: wiring, registration, and the road of an event into the queue.
#include "EventManager.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "CapturingSink.h"
#include "FakeZepWrapper.h"
#include "HandleKnownContentEventTask.h"
#include "ITaskSink.h"
#include "ManagedEventObserverBase.h"
#include "TaskQueue.h"
#include "TaskRegistry.h"
#include "ZepWStartupObserverImpl.h"

using namespace tessel;
using tessel::test::CapturingLog;
using tessel::test::CapturingSink;
using tessel::test::FakeZepWrapper;

namespace {

const char* const kRegisteredTexts[] = {
    "Registered ZepW CallStateObserver",    "Registered ZepW ConnectionObserver",
    "Registering ZepW StartupObserver",     "Registering ZepW CertificateObserver",
    "Registering ZepW MediaDeviceObserver", "Registered ZepW ExternalWindowObserver",
};

const char* const kUnregisteredTexts[] = {
    "Unregistered ZepW CallStateObserver",      "Unregistered ZepW ConnectionObserver",
    "Unregistered ZepW StartupObserver",        "Unregistered ZepW Login Observer",
    "Unregistered ZepW CertificateObserver",    "Unregistered ZepW MediaDeviceObserver",
    "Unregistered ZepW ExternalWindowObserver",
};

const char* const kClassNames[] = {
    "ZepWCallStateObserverImpl",      "ZepWConnectionObserverImpl",  "ZepWStartupObserverImpl",
    "ZepWLoginObserverImpl",          "ZepWCertificateObserverImpl", "ZepWMediaDeviceObserverImpl",
    "ZepWExternalWindowObserverImpl",
};

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
    static void fireOnHeld(const std::vector<std::shared_ptr<IObserverObject>>& held) {
        for (const auto& observer : held) {
            if (auto connection = std::dynamic_pointer_cast<ZepConnectionObserver>(observer)) {
                connection->onConnectionStatusChange("connected");
            }
        }
    }

    CapturingLog log;
    FakeZepWrapper fake;
    std::shared_ptr<CapturingSink> spSink = std::make_shared<CapturingSink>();
    std::shared_ptr<TaskRegistry> spRegistry = std::make_shared<TaskRegistry>();
    std::shared_ptr<EventManager> spManager;
};

}  // namespace

TEST_F(EventManagerTest, RegistersEachOfTheSevenObserverKindsOnceAndLogsIt) {
    configure(&fake);
    spManager->registerAll();

    EXPECT_EQ(sorted(fake.calls()),
              sorted({"registerObserver(callstate)", "registerObserver(certificate)", "registerObserver(connection)",
                      "registerObserver(externalwindow)", "registerObserver(login)", "registerObserver(mediadevice)",
                      "registerObserver(startup)"}));
    for (const char* text : kRegisteredTexts) {
        EXPECT_EQ(log.count(text), 1u) << text;
    }
    // The login observer registers without a word.
    EXPECT_EQ(log.count("Login Observer"), 0u);
    EXPECT_EQ(log.count("failed, pZepW NULL"), 0u);

    spManager->unregisterAll();
    EXPECT_EQ(fake.callCount("unregisterObserver"), 7u);
    EXPECT_TRUE(fake.observers().empty());
    for (const char* text : kUnregisteredTexts) {
        EXPECT_EQ(log.count(text), 1u) << text;
    }
}

TEST_F(EventManagerTest, WithoutAFrameworkEveryObserverLogsItsFailure) {
    configure(nullptr);
    spManager->registerAll();
    spManager->unregisterAll();

    EXPECT_TRUE(fake.calls().empty());
    for (const char* name : kClassNames) {
        EXPECT_EQ(log.count(std::string(name) + "::registerSelf failed, pZepW NULL"), 1u) << name;
        EXPECT_EQ(log.count(std::string(name) + "::unregisterSelf failed, pZepW NULL"), 1u) << name;
    }
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

TEST_F(EventManagerTest, EventsWithNowhereToGoAreDroppedWithTheRightWord) {
    // After unregisterAll: silently.
    configure(&fake);
    spManager->registerAll();
    std::vector<std::shared_ptr<IObserverObject>> held = fake.observers();
    auto base = std::dynamic_pointer_cast<ManagedEventObserverBase>(held.at(0));
    ASSERT_TRUE(base != nullptr);
    // An empty task is refused.
    base->getTaskSink()->push(std::shared_ptr<ITask>());
    EXPECT_EQ(log.count("EventManager spTask empty, unable to process event"), 1u);
    spManager->unregisterAll();
    log.clear();
    fireOnHeld(held);
    EXPECT_EQ(log.count("No task sink") + log.count("EventManager"), 0u);

    // With the manager gone the observers have no sink.
    configure(&fake);
    spManager->registerAll();
    held = fake.observers();
    spManager.reset();
    fireOnHeld(held);
    EXPECT_EQ(log.count("No task sink. Ignore event."), 1u);
    EXPECT_EQ(spSink->size(), 0u);

    // With the queue gone the manager itself says so.
    auto spQueue = std::make_shared<TaskQueue>();
    spManager = std::make_shared<EventManager>();
    spManager->configure(&log, &fake, spQueue);
    spManager->registerAll();
    spQueue.reset();
    fireConnectionStatus("connected");
    const std::string text = "EventManager no TaskDoneSink, unable to process event";
    ASSERT_EQ(log.count(text), 1u);
    const tessel::test::LogRecord record = log.records().at(log.indexOf(text));
    EXPECT_EQ(record.file + ":" + record.function + ":" + std::to_string(record.level),
              "src/pela/src/EventManager:push:4");
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
