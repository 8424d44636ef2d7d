// The threading layer: events, mutexes, conditions and threads on pthreads.

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "Condition.h"
#include "Event.h"
#include "Mutex.h"
#include "ScopedLock.h"
#include "Thread.h"

namespace {

using Clock = std::chrono::steady_clock;

long elapsedMs(Clock::time_point since) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
}

class FunctionRunnable : public ozk::Runnable {
public:
    explicit FunctionRunnable(std::function<void()> fn) : m_fn(std::move(fn)) {}
    void run() override { m_fn(); }

private:
    std::function<void()> m_fn;
};

// A runnable that reports its kernel thread id and system name, then waits
// until released.
class ProbeRunnable : public ozk::Runnable {
public:
    void run() override {
        tid = static_cast<pid_t>(syscall(SYS_gettid));
        char buffer[64] = {};
        pthread_getname_np(pthread_self(), buffer, sizeof(buffer));
        systemName = buffer;
        std::ifstream comm("/proc/self/task/" + std::to_string(tid) + "/comm");
        std::getline(comm, commName);
        pthread_attr_t attr;
        if (pthread_getattr_np(pthread_self(), &attr) == 0) {
            pthread_attr_getstacksize(&attr, &stackSize);
            pthread_attr_destroy(&attr);
        }
        started.set();
        release.wait();
    }

    pid_t tid = 0;
    std::string systemName;
    std::string commName;
    size_t stackSize = 0;
    ozk::Event started{true};
    ozk::Event release{true};
};

// ---------------------------------------------------------------- Event

TEST(EventTest, AutoResetSignalIsConsumedByOneWait) {
    ozk::Event event(true);
    EXPECT_TRUE(event.set());
    EXPECT_TRUE(event.set());  // setting a signalled event changes nothing
    EXPECT_TRUE(event.wait());
    EXPECT_FALSE(event.timedWait(20));  // the second set was not remembered
}

TEST(EventTest, ResetOnAutoResetEventReturnsFalseAndKeepsPendingSignal) {
    ozk::Event event(true);
    event.set();
    EXPECT_FALSE(event.reset());
    EXPECT_TRUE(event.timedWait(0));
}

TEST(EventTest, ManualResetStaysSignalledUntilReset) {
    ozk::Event event(false);
    event.set();
    EXPECT_TRUE(event.wait());
    EXPECT_TRUE(event.timedWait(0));
    EXPECT_TRUE(event.reset());
    EXPECT_FALSE(event.timedWait(0));
}

TEST(EventTest, TimedWaitEdgeCases) {
    ozk::Event event(true);
    event.set();
    // A negative wait fails at once, even when signalled, and leaves the signal.
    EXPECT_FALSE(event.timedWait(-1));
    // A zero wait on a signalled event succeeds (and consumes it).
    EXPECT_TRUE(event.timedWait(0));
    EXPECT_FALSE(event.timedWait(0));

    auto start = Clock::now();
    EXPECT_FALSE(event.timedWait(120));
    EXPECT_GE(elapsedMs(start), 120);
}

TEST(EventTest, SetFromAnotherThreadWakesWaiter) {
    ozk::Event event(true);
    FunctionRunnable setter([&] {
        ozk::Thread::sleep(30);
        event.set();
    });
    ozk::Thread thread;
    ASSERT_EQ(thread.start(setter), 0);
    EXPECT_TRUE(event.timedWait(10000));
    EXPECT_FALSE(thread.join());
}

TEST(EventTest, AutoResetWakesOneWaiterManualResetWakesAll) {
    for (bool autoReset : {true, false}) {
        SCOPED_TRACE(autoReset ? "auto-reset" : "manual-reset");
        ozk::Event event(autoReset);
        std::atomic<int> woken{0};
        std::atomic<int> waiting{0};
        FunctionRunnable waiter([&] {
            ++waiting;
            if (event.timedWait(1500)) {
                ++woken;
            }
        });
        std::vector<std::unique_ptr<ozk::Thread>> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back(new ozk::Thread);
            ASSERT_EQ(threads.back()->start(waiter), 0);
        }
        while (waiting < 3) {
            ozk::Thread::sleep(1);
        }
        ozk::Thread::sleep(50);  // let them reach the wait
        event.set();
        for (auto& thread : threads) {
            EXPECT_FALSE(thread->join());
        }
        EXPECT_EQ(woken, autoReset ? 1 : 3);
    }
}

// ---------------------------------------------------------------- Mutex, ScopedLock, Condition

TEST(MutexTest, IsRecursiveAndScopedLockUnlocksOnce) {
    ozk::Mutex mutex;
    EXPECT_EQ(mutex.lock(), 0);
    EXPECT_EQ(mutex.lock(), 0);
    EXPECT_EQ(mutex.unlock(), 0);
    EXPECT_EQ(mutex.unlock(), 0);

    {
        ozk::ScopedLock outer(mutex);
        ozk::ScopedLock inner(mutex);
        EXPECT_EQ(inner.unlock(), 0);
        EXPECT_EQ(inner.unlock(), 0);  // already released: nothing happens
    }
    // Both scopes released: another thread can take it.
    std::atomic<bool> taken{false};
    FunctionRunnable other([&] {
        ozk::ScopedLock lock(mutex);
        taken = true;
    });
    ozk::Thread thread;
    ASSERT_EQ(thread.start(other), 0);
    EXPECT_FALSE(thread.join());
    EXPECT_TRUE(taken);
}

TEST(MutexTest, ExcludesOtherThreads) {
    ozk::Mutex mutex;
    long counter = 0;  // deliberately plain: the mutex is the only guard
    FunctionRunnable worker([&] {
        for (int i = 0; i < 20000; ++i) {
            ozk::ScopedLock lock(mutex);
            ++counter;
        }
    });
    ozk::Thread threads[4];
    for (auto& thread : threads) {
        ASSERT_EQ(thread.start(worker), 0);
    }
    for (auto& thread : threads) {
        EXPECT_FALSE(thread.join());
    }
    EXPECT_EQ(counter, 4 * 20000);
}

TEST(ConditionTest, TimedWaitTimesOutOrIsSignalled) {
    ozk::Mutex mutex;
    ozk::Condition condition;
    {
        ozk::ScopedLock lock(mutex);
        auto start = Clock::now();
        EXPECT_EQ(condition.timedWait(mutex, 50), ETIMEDOUT);
        EXPECT_GE(elapsedMs(start), 50);
        EXPECT_EQ(condition.timedWait(mutex, 0), ETIMEDOUT);
    }

    bool ready = false;
    FunctionRunnable signaller([&] {
        ozk::Thread::sleep(20);
        ozk::ScopedLock lock(mutex);
        ready = true;
        condition.signal();
    });
    ozk::Thread thread;
    ozk::ScopedLock lock(mutex);
    ASSERT_EQ(thread.start(signaller), 0);
    int result = 0;
    while (!ready && result == 0) {
        result = condition.timedWait(mutex, 10000);
    }
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(ready);
    lock.unlock();
    EXPECT_FALSE(thread.join());
}

// ---------------------------------------------------------------- Thread

TEST(ThreadTest, RunsRunnableAndReportsRunningUntilItReturns) {
    ProbeRunnable probe;
    ozk::Thread thread("worker");
    EXPECT_FALSE(thread.isRunning());
    ASSERT_EQ(thread.start(probe), 0);
    ASSERT_TRUE(probe.started.timedWait(10000));
    EXPECT_TRUE(thread.isRunning());
    EXPECT_NE(probe.tid, static_cast<pid_t>(syscall(SYS_gettid)));
    probe.release.set();
    EXPECT_FALSE(thread.join());
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.join());  // already joined: a failure, not a crash
}

TEST(ThreadTest, JoinWithoutStartFails) {
    ozk::Thread thread;
    EXPECT_TRUE(thread.join());
}

TEST(ThreadTest, NamesTheSystemThread) {
    {
        ProbeRunnable probe;
        ozk::Thread thread("pela-reader");
        ASSERT_EQ(thread.start(probe), 0);
        ASSERT_TRUE(probe.started.timedWait(10000));
        EXPECT_EQ(probe.systemName, "pela-reader");
        EXPECT_EQ(probe.commName, "pela-reader");
        probe.release.set();
        thread.join();
    }
    {
        // The kernel keeps 15 bytes; the stored name stays whole.
        ProbeRunnable probe;
        ozk::Thread thread("a-rather-long-thread-name");
        ASSERT_EQ(thread.start(probe), 0);
        ASSERT_TRUE(probe.started.timedWait(10000));
        EXPECT_EQ(probe.commName, "a-rather-long-t");
        EXPECT_EQ(thread.getName(), "a-rather-long-thread-name");
        probe.release.set();
        thread.join();
    }
    {
        // Unnamed threads carry their pthread_t in hexadecimal.
        ProbeRunnable probe;
        ozk::Thread thread;
        EXPECT_EQ(thread.getName(), "");
        ASSERT_EQ(thread.start(probe), 0);
        ASSERT_TRUE(probe.started.timedWait(10000));
        EXPECT_TRUE(std::regex_match(thread.getName(), std::regex("0x[0-9a-f]+"))) << thread.getName();
        EXPECT_EQ(probe.commName, thread.getName().substr(0, 15));
        // A rename after start does not reach the system thread.
        thread.setName("renamed");
        EXPECT_EQ(thread.getName(), "renamed");
        std::ifstream comm("/proc/self/task/" + std::to_string(probe.tid) + "/comm");
        std::string now;
        std::getline(comm, now);
        EXPECT_EQ(now, probe.commName);
        probe.release.set();
        thread.join();
    }
}

TEST(ThreadTest, StackSizeIsRefusedWhileRunning) {
    ozk::Thread thread("stack");
    EXPECT_EQ(thread.getStackSize(), 0);
    EXPECT_EQ(thread.setStackSize(512 * 1024), 0);
    ProbeRunnable probe;
    ASSERT_EQ(thread.start(probe), 0);
    ASSERT_TRUE(probe.started.timedWait(10000));
    // Sanitizers add a little of their own; the default would be megabytes.
    EXPECT_GE(probe.stackSize, 512u * 1024u);
    EXPECT_LT(probe.stackSize, 2u * 1024u * 1024u);
    EXPECT_EQ(thread.setStackSize(1024 * 1024), 1);
    EXPECT_EQ(thread.getStackSize(), 512 * 1024);
    probe.release.set();
    thread.join();
    EXPECT_EQ(thread.setStackSize(1024 * 1024), 0);
    EXPECT_EQ(thread.getStackSize(), 1024 * 1024);
}

TEST(ThreadTest, InvalidStackSizeFallsBackToDefaultAndReportsIt) {
    ozk::Thread thread("tiny");
    thread.setStackSize(1);  // below PTHREAD_STACK_MIN
    std::atomic<bool> ran{false};
    FunctionRunnable work([&] { ran = true; });
    testing::internal::CaptureStdout();
    int result = thread.start(work);
    fflush(stdout);
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(result, EINVAL);
    EXPECT_EQ(printed, "Invalid stacksize 1 specified for thread 'tiny': " + std::to_string(EINVAL) + "\n");
    EXPECT_FALSE(thread.join());
    EXPECT_TRUE(ran);
}

TEST(ThreadTest, DestroyingARunningThreadDetachesIt) {
    ozk::Event release(true);
    ozk::Event finished(true);
    FunctionRunnable work([&] {
        release.wait();
        finished.set();
    });
    auto* thread = new ozk::Thread("detached");
    ASSERT_EQ(thread->start(work), 0);
    delete thread;  // must neither block nor cancel the thread
    release.set();
    EXPECT_TRUE(finished.timedWait(10000));
    ozk::Thread::sleep(20);  // let the detached thread leave its entry
}

extern "C" void onTestSignal(int) {}

TEST(ThreadTest, SleepLastsTheFullTimeDespiteSignals) {
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = onTestSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: nanosleep really is interrupted
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);

    pthread_t sleeper = pthread_self();
    std::atomic<bool> done{false};
    std::atomic<int> signalsSent{0};
    FunctionRunnable interrupter([&] {
        for (int i = 0; i < 200 && !done; ++i) {
            pthread_kill(sleeper, SIGUSR1);
            ++signalsSent;
            ozk::Thread::sleep(15);
        }
    });
    ozk::Thread thread;
    auto start = Clock::now();
    ASSERT_EQ(thread.start(interrupter), 0);
    ozk::Thread::sleep(400);
    long slept = elapsedMs(start);
    done = true;
    thread.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_GE(slept, 400);
    EXPECT_GT(signalsSent, 1);
}

}  // namespace
