// The framework's work queue: timed work runs only once due, the pumping
// thread learns how long it may sleep, and work from other threads wakes it.

#include "../../src/zepwrapper/src/DispatchQueue.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using tessel::zep::DispatchQueue;
using Clock = DispatchQueue::Clock;
using namespace std::chrono_literals;

namespace {

TEST(DispatchQueueTest, TimedWorkRunsOnceDueInDeadlineOrderAndSaysHowLongToSleep) {
    DispatchQueue queue;
    std::vector<std::string> ran;
    EXPECT_EQ(queue.msUntilDue(Clock::now()), -1) << "nothing queued: sleep until woken";

    const Clock::time_point t0 = Clock::now();
    queue.postAt(t0 + 80ms, [&] { ran.push_back("late"); });
    queue.postAt(t0 + 40ms, [&] { ran.push_back("early"); });
    queue.postAt(t0 - 1ms, [&] { ran.push_back("overdue"); });
    EXPECT_EQ(queue.msUntilDue(t0), 0) << "one is overdue";
    EXPECT_EQ(queue.runPending(), 1u);
    EXPECT_EQ(ran, std::vector<std::string>{"overdue"});
    EXPECT_EQ(queue.msUntilDue(t0), 40);
    EXPECT_EQ(queue.msUntilDue(t0 + 39500us), 1) << "rounded up, never a wake-up before it is due";

    // Work posted now goes first; work it posts waits for the next round.
    queue.post([&] {
        ran.push_back("now");
        queue.post([&] { ran.push_back("posted by now"); });
    });
    EXPECT_EQ(queue.msUntilDue(t0), 0);
    queue.runPending();
    EXPECT_EQ(ran.back(), "now");
    EXPECT_EQ(queue.size(), 3u);

    std::this_thread::sleep_until(t0 + 90ms);
    EXPECT_EQ(queue.runPending(), 3u);
    EXPECT_EQ(ran, (std::vector<std::string>{"overdue", "now", "posted by now", "early", "late"}));
    EXPECT_EQ(queue.msUntilDue(Clock::now()), -1);

    queue.post([] {});
    queue.postAt(Clock::now() + 1h, [] {});
    EXPECT_EQ(queue.clear(), 2u) << "a stop drops timed work too";
    EXPECT_EQ(queue.msUntilDue(Clock::now()), -1);
}

TEST(DispatchQueueTest, WorkFromAnyThreadWakesThePumpUntilTheWakeUpIsRemoved) {
    DispatchQueue queue;
    std::atomic<int> wakes{0};
    queue.post([] {});  // before anyone listens: nobody to wake
    queue.setWakeUp([&] { ++wakes; });
    std::thread other([&] {
        queue.post([] {});
        queue.postAt(Clock::now() + 1h, [] {});
    });
    other.join();
    EXPECT_EQ(wakes.load(), 2);

    // A wake-up that posts (the pumping thread waking itself) takes no lock of ours.
    queue.setWakeUp([&] {
        if (++wakes < 5) queue.post([] {});
    });
    queue.post([] {});
    EXPECT_EQ(wakes.load(), 5);

    queue.setWakeUp(nullptr);
    queue.post([] {});
    EXPECT_EQ(wakes.load(), 5);
}

}  // namespace
