// The threading layer: events (and the condition under them), mutexes and threads on pthreads.

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include "threading/Event.h"
#include "threading/Mutex.h"
#include "threading/ScopedLock.h"
#include "threading/Thread.h"

namespace {

using Clock = std::chrono::steady_clock;

long elapsedMs(Clock::time_point since) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
}

class FunctionRunnable : public ozk::Runnable {
public:
    explicit FunctionRunnable(std::function<void()> fn) : m_fn(std::move(fn)) {}
    void run() override { m_fn(); }

private:
    std::function<void()> m_fn;
};

// A thread running fn from construction until joined.
struct Worker {
    explicit Worker(std::function<void()> fn) : runnable(std::move(fn)) { EXPECT_EQ(thread.start(runnable), 0); }
    bool join() { return thread.join(); }
    FunctionRunnable runnable;
    ozk::Thread thread;
};

std::string commOf(pid_t tid) {
    std::ifstream comm("/proc/self/task/" + std::to_string(tid) + "/comm");
    std::string name;
    std::getline(comm, name);
    return name;
}

// Reports its kernel thread id, system name and stack size, then waits until
// released.
class ProbeRunnable : public ozk::Runnable {
public:
    void run() override {
        tid = static_cast<pid_t>(syscall(SYS_gettid));
        commName = commOf(tid);
        pthread_attr_t attr;
        if (pthread_getattr_np(pthread_self(), &attr) == 0) {
            pthread_attr_getstacksize(&attr, &stackSize);
            pthread_attr_destroy(&attr);
        }
        started.set();
        release.wait();
    }
    bool startOn(ozk::Thread& thread) { return thread.start(*this) == 0 && started.timedWait(10000); }
    bool finish(ozk::Thread& thread) {
        release.set();
        return thread.join();
    }

    pid_t tid = 0;
    std::string commName;
    size_t stackSize = 0;
    ozk::Event started{true};
    ozk::Event release{true};
};

TEST(EventTest, AutoResetManualResetAndTimedWaitEdges) {
    ozk::Event autoReset(true);
    EXPECT_TRUE(autoReset.set());
    EXPECT_TRUE(autoReset.set());           // setting a signalled event changes nothing
    EXPECT_FALSE(autoReset.reset());        // refused on auto-reset, signal kept
    EXPECT_FALSE(autoReset.timedWait(-1));  // a negative wait fails at once, even when signalled
    EXPECT_TRUE(autoReset.timedWait(0));    // and left the signal, which a zero wait consumes
    auto start = Clock::now();
    EXPECT_FALSE(autoReset.timedWait(120));  // the second set was not remembered
    EXPECT_GE(elapsedMs(start), 120);

    ozk::Event manual(false);
    manual.set();
    EXPECT_TRUE(manual.wait());
    EXPECT_TRUE(manual.timedWait(0));
    EXPECT_TRUE(manual.reset());
    EXPECT_FALSE(manual.timedWait(0));
}

TEST(EventTest, SetFromAnotherThreadWakesOneOrAllWaiters) {
    for (bool autoReset : {true, false}) {
        SCOPED_TRACE(autoReset ? "auto-reset" : "manual-reset");
        ozk::Event event(autoReset);
        std::atomic<int> woken{0};
        std::atomic<int> waiting{0};
        std::vector<std::unique_ptr<Worker>> waiters;
        for (int i = 0; i < 3; ++i) {
            waiters.emplace_back(new Worker([&] {
                ++waiting;
                woken += event.timedWait(1500) ? 1 : 0;
            }));
        }
        while (waiting < 3) {
            ozk::Thread::sleep(1);
        }
        ozk::Thread::sleep(50);  // let them reach the wait
        event.set();
        for (auto& waiter : waiters) {
            EXPECT_FALSE(waiter->join());
        }
        EXPECT_EQ(woken, autoReset ? 1 : 3);
    }
}

TEST(MutexTest, RecursiveExclusiveAndScopedLockUnlocksOnce) {
    ozk::Mutex mutex;
    EXPECT_EQ(mutex.lock() + mutex.lock() + mutex.unlock() + mutex.unlock(), 0);
    {
        ozk::ScopedLock outer(mutex);
        ozk::ScopedLock inner(mutex);
        EXPECT_EQ(inner.unlock(), 0);
        EXPECT_EQ(inner.unlock(), 0);  // already released: nothing happens
    }
    // Both scopes released, so other threads can take it; they exclude each other.
    long counter = 0;  // deliberately plain: the mutex is the only guard
    auto count = [&] {
        for (int i = 0; i < 20000; ++i) {
            ozk::ScopedLock lock(mutex);
            ++counter;
        }
    };
    Worker first(count), second(count), third(count);
    EXPECT_FALSE(first.join() || second.join() || third.join());
    EXPECT_EQ(counter, 3 * 20000);
}

TEST(ThreadTest, StartJoinAndSystemName) {
    ozk::Thread never;
    EXPECT_TRUE(never.join());  // join without start fails

    ProbeRunnable probe;
    ozk::Thread thread("pela-reader");
    EXPECT_FALSE(thread.isRunning());
    ASSERT_TRUE(probe.startOn(thread));
    EXPECT_TRUE(thread.isRunning());
    EXPECT_NE(probe.tid, static_cast<pid_t>(syscall(SYS_gettid)));
    EXPECT_EQ(probe.commName, "pela-reader");
    EXPECT_FALSE(probe.finish(thread));
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.join());  // already joined: a failure, not a crash

    // The kernel keeps 15 bytes; the stored name stays whole.
    ProbeRunnable longProbe;
    ozk::Thread longName("a-rather-long-thread-name");
    ASSERT_TRUE(longProbe.startOn(longName));
    EXPECT_EQ(longProbe.commName, "a-rather-long-t");
    EXPECT_EQ(longName.getName(), "a-rather-long-thread-name");
    longProbe.finish(longName);

    // Unnamed threads carry their pthread_t in hexadecimal.
    ProbeRunnable unnamedProbe;
    ozk::Thread unnamed;
    EXPECT_EQ(unnamed.getName(), "");
    ASSERT_TRUE(unnamedProbe.startOn(unnamed));
    EXPECT_TRUE(std::regex_match(unnamed.getName(), std::regex("0x[0-9a-f]+"))) << unnamed.getName();
    EXPECT_EQ(unnamedProbe.commName, unnamed.getName().substr(0, 15));
    unnamedProbe.finish(unnamed);
}

TEST(ThreadTest, StackSizeAppliesAndIsRefusedWhileRunning) {
    ozk::Thread thread("stack");
    EXPECT_EQ(thread.setStackSize(512 * 1024), 0);
    ProbeRunnable probe;
    ASSERT_TRUE(probe.startOn(thread));
    // Sanitizers add a little of their own; the default would be megabytes.
    EXPECT_GE(probe.stackSize, 512u * 1024u);
    EXPECT_LT(probe.stackSize, 2u * 1024u * 1024u);
    EXPECT_EQ(thread.setStackSize(1024 * 1024), 1);
    EXPECT_EQ(thread.getStackSize(), 512 * 1024);
    probe.finish(thread);
    EXPECT_EQ(thread.setStackSize(1024 * 1024), 0);

    // An invalid size falls back to the default (and says so).
    ozk::Thread tiny("tiny");
    tiny.setStackSize(1);  // below PTHREAD_STACK_MIN
    std::atomic<bool> ran{false};
    FunctionRunnable work([&] { ran = true; });
    EXPECT_EQ(tiny.start(work), EINVAL);
    EXPECT_FALSE(tiny.join());
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
    action.sa_handler = onTestSignal;  // no SA_RESTART: nanosleep really is interrupted
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);

    pthread_t sleeper = pthread_self();
    std::atomic<bool> done{false};
    std::atomic<int> signalsSent{0};
    auto start = Clock::now();
    Worker interrupter([&] {
        for (int i = 0; i < 100 && !done; ++i) {
            pthread_kill(sleeper, SIGUSR1);
            ++signalsSent;
            ozk::Thread::sleep(15);
        }
    });
    ozk::Thread::sleep(200);
    long slept = elapsedMs(start);
    done = true;
    interrupter.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_GE(slept, 200);
    EXPECT_GT(signalsSent, 1);
}

}  // namespace
