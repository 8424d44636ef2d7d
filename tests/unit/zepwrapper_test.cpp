// The telephony framework library against the real liblinphone engine. Every
// test gets private HOME, XDG_STATE_HOME and XDG_RUNTIME_DIR folders so the
// engine's files land in a temporary tree.

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <bctoolbox/logging.h>
#include <gtest/gtest.h>
#include <ozklogger/OZKLogger.h>
#include <sys/stat.h>
#include <zepwrapper/ZepObservers.h>
#include <zepwrapper/ZepWrapper.h>

#include "CapturingLog.h"
#include "HostProcess.h"

using tessel::test::CapturingLog;

namespace {

const int kMaxPumps = 500;

// --- observers ---------------------------------------------------------------

// What an observer heard, and on which thread.
class Journal {
public:
    void note(const std::string& event) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(event);
        m_threads.push_back(std::this_thread::get_id());
    }
    std::vector<std::string> events() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }
    std::vector<std::thread::id> threads() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_threads;
    }
    size_t count(const std::string& event) const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<size_t>(std::count(m_events.begin(), m_events.end(), event));
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_events;
    std::vector<std::thread::id> m_threads;
};

class StartupRecorder : public ZepStartupObserver {
public:
    void onZepMediaDeviceFeatureSetStarted() override {
        journal.note("started");
        if (onStarted) onStarted();
    }
    void onZepMediaDeviceFeatureSetStopped() override { journal.note("stopped"); }

    Journal journal;
    std::function<void()> onStarted;
};

class ConnectionRecorder : public ZepConnectionObserver {
public:
    void onConnectionStatusChange(const std::string&) override { journal.note("status"); }
    void onConnectionFailure(const std::string&) override { journal.note("failure"); }
    void onAuthenticationStatusChange(const std::string&) override { journal.note("auth"); }
    void onCallControlModeChange(const std::string&, const std::string&, const std::string&) override {
        journal.note("mode");
    }
    void onZepTelephonyDevicesChanged(std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>>) override {
        journal.note("devices");
    }
    Journal journal;
};

class ThrowingStartupObserver : public ZepStartupObserver {
public:
    void onZepMediaDeviceFeatureSetStarted() override { throw std::runtime_error("observer failed"); }
    void onZepMediaDeviceFeatureSetStopped() override { throw 42; }
};

// --- process plumbing --------------------------------------------------------

// Logs through bctoolbox itself, as any library under the engine does.
void engineLog(const char* domain, BctbxLogLevel level, const char* fmt, ...) {
    auto logv = reinterpret_cast<decltype(&bctbx_logv)>(dlsym(RTLD_DEFAULT, "bctbx_logv"));
    ASSERT_NE(logv, nullptr);
    va_list args;
    va_start(args, fmt);
    logv(domain, level, fmt, args);
    va_end(args);
}

// --- fixture -----------------------------------------------------------------

class ZepWrapperTest : public ::testing::Test {
protected:
    void SetUp() override {
        pZep = zepWrapperGetInterface();
        ASSERT_NE(pZep, nullptr);
    }

    void TearDown() override {
        pZep->stop();
        for (const auto& spObserver : m_registered) pZep->unregisterObserver(spObserver);
    }

    template <class T>
    std::shared_ptr<T> observe() {
        auto sp = std::make_shared<T>();
        pZep->registerObserver(sp);
        m_registered.push_back(sp);
        return sp;
    }

    // Pumps until done() holds, at most kMaxPumps times.
    bool pumpUntil(const std::function<bool()>& done) {
        for (int i = 0; i < kMaxPumps; ++i) {
            pZep->pumpNextDispatcherTask();
            if (done()) return true;
            usleep(1000);
        }
        return false;
    }

    void pumpSome(int times) {
        for (int i = 0; i < times; ++i) pZep->pumpNextDispatcherTask();
    }

    std::string stateFolder() const { return m_root + "/state/Marlin Web SDK/zep"; }

    ZepWrapperAPI* pZep = nullptr;
    pelatest::PrivateHome m_home;
    const std::string m_root = m_home.root();
    std::vector<std::shared_ptr<IObserverObject>> m_registered;
};

// --- life cycle ----------------------------------------------------------------

TEST_F(ZepWrapperTest, StartedArrivesOnceOnThePumpingThreadStoppedSynchronouslyAndRestarts) {
    auto spStartup = observe<StartupRecorder>();
    const std::vector<std::string> oneRun{"started", "stopped"};

    // Stopped before any pump: the pending "started" still comes first.
    pZep->start();
    pZep->stop();
    EXPECT_EQ(spStartup->journal.events(), oneRun);

    pZep->start();
    ASSERT_TRUE(pZep->isStarted());
    EXPECT_EQ(spStartup->journal.count("started"), 1u) << "started must wait for a pump";

    // A pumping thread of its own, as in the host; start and stop stay here.
    std::thread::id pumpThread;
    bool delivered = false;
    std::thread pumper([&] {
        pumpThread = std::this_thread::get_id();
        delivered = pumpUntil([&] { return spStartup->journal.count("started") == 2; });
        pumpSome(20);
    });
    pumper.join();
    ASSERT_TRUE(delivered);
    EXPECT_EQ(spStartup->journal.threads().back(), pumpThread);

    pZep->start();  // already started: nothing new
    pumpSome(20);
    EXPECT_EQ(spStartup->journal.count("started"), 2u);

    pZep->stop();
    EXPECT_FALSE(pZep->isStarted());
    EXPECT_EQ(spStartup->journal.events(), (std::vector<std::string>{"started", "stopped", "started", "stopped"}));
    EXPECT_EQ(spStartup->journal.threads().back(), std::this_thread::get_id());

    pZep->stop();  // not started: nothing
    pumpSome(20);  // not started: nothing
    EXPECT_EQ(spStartup->journal.events().size(), 4u);
}

TEST_F(ZepWrapperTest, EngineFilesLandInThePrivateStateFolder) {
    // A folder left too open by someone else is tightened.
    ASSERT_EQ(mkdir((m_root + "/state/Marlin Web SDK").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(stateFolder().c_str(), 0755), 0);

    pZep->start();
    ASSERT_TRUE(pZep->isStarted());
    pumpSome(20);
    pZep->stop();

    EXPECT_EQ(pelatest::modeOf(stateFolder()), 0700u);
    EXPECT_EQ(pelatest::modeOf(m_root + "/state/Marlin Web SDK"), 0700u);
    EXPECT_TRUE(pelatest::exists(stateFolder() + "/linphonerc"));
    // No engine database: nothing a call leaves behind is written anywhere.
    EXPECT_FALSE(pelatest::exists(stateFolder() + "/linphone.db"));
    // Nothing beside our folder, and nothing in the home folder.
    EXPECT_FALSE(pelatest::exists(m_root + "/state/Marlin Web SDK/zeplinphone.db"));
    EXPECT_FALSE(pelatest::exists(m_root + "/home/.local"));
    EXPECT_FALSE(pelatest::exists(m_root + "/home/.config"));
}

TEST_F(ZepWrapperTest, StateFolderFallsBackToHomeAndRefusesAFile) {
    // A relative XDG_STATE_HOME does not count.
    m_home.env.set("XDG_STATE_HOME", "relative/state");
    pZep->start();
    ASSERT_TRUE(pZep->isStarted());
    pZep->stop();
    const std::string fallback = m_root + "/home/.local/state/Marlin Web SDK/zep";
    EXPECT_TRUE(pelatest::exists(fallback + "/linphonerc"));
    EXPECT_EQ(pelatest::modeOf(fallback), 0700u);

    // A state home that is a file: start fails cleanly.
    const std::string file = m_root + "/not-a-folder";
    close(open(file.c_str(), O_CREAT | O_WRONLY, 0600));
    m_home.env.set("XDG_STATE_HOME", file);
    auto spStartup = observe<StartupRecorder>();
    pZep->start();
    EXPECT_FALSE(pZep->isStarted());
    pumpSome(20);
    pZep->stop();
    EXPECT_TRUE(spStartup->journal.events().empty());
    // Fixed up, it starts.
    m_home.env.set("XDG_STATE_HOME", m_root + "/state");
    pZep->start();
    EXPECT_TRUE(pZep->isStarted());
}

// --- observers -----------------------------------------------------------------

TEST_F(ZepWrapperTest, OnlyRegisteredLiveObserversOfTheRightKindHear) {
    auto spFirst = observe<StartupRecorder>();
    pZep->registerObserver(spFirst);  // twice: still one entry
    auto spSecond = observe<StartupRecorder>();
    auto spLeaving = observe<StartupRecorder>();
    auto spConnection = observe<ConnectionRecorder>();
    observe<ThrowingStartupObserver>();
    auto spLast = observe<StartupRecorder>();  // still hears, after the one that throws

    // The framework holds observers weakly: this one dies with its last owner.
    auto spVanishing = std::make_shared<StartupRecorder>();
    std::weak_ptr<StartupRecorder> wpVanishing = spVanishing;
    pZep->registerObserver(spVanishing);
    spVanishing.reset();
    EXPECT_TRUE(wpVanishing.expired());

    // During its own callback the first removes itself and the second.
    spFirst->onStarted = [&] {
        pZep->unregisterObserver(spSecond);
        pZep->unregisterObserver(spFirst);
    };
    pZep->unregisterObserver(spLeaving);
    pZep->unregisterObserver(spLeaving);  // not registered any more: harmless

    pZep->start();
    ASSERT_TRUE(pumpUntil([&] { return spFirst->journal.count("started") > 0; }));
    pumpSome(20);
    pZep->stop();

    EXPECT_EQ(spFirst->journal.events(), std::vector<std::string>{"started"});
    EXPECT_TRUE(spSecond->journal.events().empty());
    EXPECT_TRUE(spLeaving->journal.events().empty());
    EXPECT_TRUE(spConnection->journal.events().empty());
    EXPECT_EQ(spLast->journal.events(), (std::vector<std::string>{"started", "stopped"}));
}

TEST_F(ZepWrapperTest, RegistrationFromAnotherThreadWhilePumping) {
    auto spStartup = observe<StartupRecorder>();
    pZep->start();
    ASSERT_TRUE(pZep->isStarted());

    std::atomic<bool> done{false};
    std::thread registrar([&] {
        for (int i = 0; i < 200; ++i) {
            auto sp = std::make_shared<StartupRecorder>();
            pZep->registerObserver(sp);
            if (i % 2 == 0) pZep->unregisterObserver(sp);
        }
        done = true;
    });
    for (int i = 0; i < kMaxPumps && !done; ++i) pZep->pumpNextDispatcherTask();
    registrar.join();
    ASSERT_TRUE(pumpUntil([&] { return spStartup->journal.count("started") > 0; }));
    pZep->stop();
    EXPECT_EQ(spStartup->journal.events(), (std::vector<std::string>{"started", "stopped"}));
}

// --- quiet engine ----------------------------------------------------------------

TEST_F(ZepWrapperTest, EngineWritesNothingToTheConsoleAndWarnsThroughOurLog) {
    CapturingLog log("zep");
    // Both capture at the descriptor level, where a C library writes too.
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    pZep->start();
    pumpSome(50);
    engineLog("zep-test", BCTBX_LOG_WARNING, "warning %d from below", 7);
    engineLog("zep-test", BCTBX_LOG_MESSAGE, "chatter %d from below", 8);
    pZep->stop();
    fflush(stdout);
    fflush(stderr);
    const std::string console = testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    EXPECT_EQ(console, "");

    ASSERT_EQ(log.count("warning 7 from below"), 1u);
    const tessel::test::LogRecord warning = log.records().at(log.indexOf("warning 7 from below"));
    EXPECT_EQ(warning.level, OZKLogLevelWarning);
    EXPECT_NE(warning.text.find("[zep-test]"), std::string::npos);
    EXPECT_FALSE(log.contains("chatter 8")) << "below warning level must be filtered";
}

// --- operations not served yet ------------------------------------------------------

TEST_F(ZepWrapperTest, CallOperationsWithoutSignInAreRefused) {
    pZep->start();
    ASSERT_TRUE(pZep->isStarted());

    int callId = -100;
    EXPECT_EQ(pZep->originate("sip:1000@127.0.0.1", callId, "Inactive", 0), 11) << "nobody signed in: eInvalidState";
    EXPECT_EQ(callId, -100);
    auto spCall = std::make_shared<ZepCallInfo>();
    EXPECT_EQ(pZep->getCallInfo(1, spCall), 1) << "unknown call: eInvalidCallId";
    EXPECT_EQ(spCall, nullptr) << "an unknown call comes back empty";
    EXPECT_EQ(pZep->hold(1), 1);
    std::vector<int> callIds{7};
    EXPECT_EQ(pZep->getCalls(callIds), 0);
    EXPECT_TRUE(callIds.empty());
    EXPECT_EQ(pZep->getDeviceAndPhoneInfo(), nullptr);
    EXPECT_TRUE(pZep->isStarted()) << "refusals leave the framework running";
}

}  // namespace
