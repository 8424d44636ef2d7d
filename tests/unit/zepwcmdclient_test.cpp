// The framework command client over a scriptable framework: start/stop once,
// pumping only while started, and the mutex that orders a stop after a pump.
#include "bridge/ZepWCmdClient.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "FakeZepWrapper.h"

using namespace tessel;
using tessel::test::FakeZepWrapper;

TEST(ZepWCmdClientTest, StartAndStopReachTheFrameworkOnceAndPumpingOnlyWhileStarted) {
    FakeZepWrapper fake;
    ZepWCmdClient client(&fake);
    EXPECT_FALSE(client.isZepWrapperStarted());
    client.pumpNextDispatcherTask();
    client.stopZepWrapper();
    EXPECT_EQ(fake.callCount("stop"), 0u) << "stop before any start";

    client.startZepWrapper();
    client.startZepWrapper();
    EXPECT_TRUE(client.isZepWrapperStarted());
    client.pumpNextDispatcherTask();
    client.pumpNextDispatcherTask();

    client.stopZepWrapper();
    client.stopZepWrapper();
    EXPECT_FALSE(client.isZepWrapperStarted());
    client.pumpNextDispatcherTask();
    EXPECT_EQ(fake.pumpCount(), 2);

    // The last page leaving and a new one arriving starts it again.
    client.startZepWrapper();
    EXPECT_EQ(fake.calls(), (std::vector<std::string>{"start()", "stop()", "start()"}));
}

TEST(ZepWCmdClientTest, DestroyingLeavesTheFrameworkRunningAndNoFrameworkStartsNothing) {
    FakeZepWrapper fake;
    ZepWCmdClient(&fake).startZepWrapper();
    EXPECT_EQ(fake.callCount("stop"), 0u);
    EXPECT_TRUE(fake.isStarted());

    ZepWCmdClient client(nullptr);
    client.startZepWrapper();
    EXPECT_FALSE(client.isZepWrapperStarted());
    client.pumpNextDispatcherTask();
    client.stopZepWrapper();
}

// A stop issued from another thread must wait for the pump in progress; no
// framework work may run after the stop has returned.
TEST(ZepWCmdClientTest, StopFromAnotherThreadWaitsForThePumpInProgress) {
    FakeZepWrapper fake;
    ZepWCmdClient client(&fake);
    client.startZepWrapper();

    std::mutex mutex;
    std::condition_variable cond;
    bool inPump = false;
    bool release = false;
    fake.setOnPump([&] {
        std::unique_lock<std::mutex> lock(mutex);
        inPump = true;
        cond.notify_all();
        cond.wait_for(lock, std::chrono::seconds(5), [&] { return release; });
    });

    std::thread pumper([&] { client.pumpNextDispatcherTask(); });
    {
        std::unique_lock<std::mutex> lock(mutex);
        ASSERT_TRUE(cond.wait_for(lock, std::chrono::seconds(5), [&] { return inPump; }));
    }
    std::atomic<bool> stopped{false};
    std::thread stopper([&] {
        client.stopZepWrapper();
        stopped = true;
    });

    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(stopped) << "stop returned while a pump was still running";
    EXPECT_EQ(fake.callCount("stop"), 0u);

    {
        std::lock_guard<std::mutex> lock(mutex);
        release = true;
    }
    cond.notify_all();
    pumper.join();
    stopper.join();

    EXPECT_TRUE(stopped);
    EXPECT_EQ(fake.callCount("stop"), 1u);
    client.pumpNextDispatcherTask();
    EXPECT_EQ(fake.pumpCount(), 1);
}
