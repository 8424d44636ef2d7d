// The logging library (records, escaping, file modes, rotation, failures)
// and the host's glue around it (LogFactory, FileUtil, PlatformUtil).

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <ozklogger/OZKLogger.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "HostProcess.h"
#include "channel/PlatformUtil.h"
#include "logging/FileUtil.h"
#include "logging/LogFactory.h"
#include "logging/LogMacros.h"

namespace {

using pelatest::exists;
using pelatest::modeOf;
using pelatest::ScopedEnv;

std::vector<std::string> readLines(const std::string& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line)) {
        lines.push_back(line);
    }
    return lines;
}

// A fresh folder per test; logging is closed again afterwards so that no
// test writes into another's file.
class LoggingTest : public testing::Test {
protected:
    void TearDown() override { OZKLogger_shutdown(); }

    pelatest::TempDir m_tmp;
    const std::string m_dir = m_tmp.path();
};

class ScopedUmask {
public:
    explicit ScopedUmask(mode_t mask) : m_old(umask(mask)) {}
    ~ScopedUmask() { umask(m_old); }

private:
    mode_t m_old;
};

// ---------------------------------------------------------------- records

TEST_F(LoggingTest, RecordCarriesTimeThreadLevelModuleSourceAndEscapedText) {
    std::string path = m_dir + "/a.log";
    ASSERT_EQ(OZKLogger_initialize(path.c_str()), 0);
    OZKLogger* logger = OZKLogger_getLogger("tessel");
    OZKLog(logger, 4, "src/pela/src/Foo", 42, "run", "[7] first\nsecond\r\nthird");
    OZKLog(logger, 2, "src/pela/src/Bar", 7, "execute", "not supported");
    OZKLogger_flush();

    auto lines = readLines(path);
    ASSERT_EQ(lines.size(), 2u);
    long tid = syscall(SYS_gettid);
    std::regex stamp(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(lines[0], match, stamp));
    EXPECT_EQ(match.position(0), 0);
    EXPECT_EQ(lines[0].substr(24),
              "[" + std::to_string(tid) + "] INFO [tessel] src/pela/src/Foo:42 run: [7] first\\nsecond\\r\\nthird");
    EXPECT_NE(lines[1].find("] NOTICE [tessel] src/pela/src/Bar:7 execute: not supported"), std::string::npos);
}

TEST_F(LoggingTest, NullArgumentsGiveOneRecordAndOnlyTheOpenFileGetsRecords) {
    OZKLogger* logger = OZKLogger_getLogger("a");
    EXPECT_EQ(OZKLogger_getLogger("a"), logger);  // one per module name
    EXPECT_NE(OZKLogger_getLogger("b"), logger);
    OZKLog(logger, 4, "f", 1, "g", "lost record");  // no file open yet

    std::string first = m_dir + "/first.log";
    ASSERT_EQ(OZKLogger_initialize(first.c_str()), 0);
    OZKLog(nullptr, 4, nullptr, 0, nullptr, nullptr);
    OZKLog(OZKLogger_getLogger(nullptr), 9, "f", 1, "g", "debug detail");
    // A second initialize moves the records to the new file.
    std::string second = m_dir + "/second.log";
    ASSERT_EQ(OZKLogger_initialize(second.c_str()), 0);
    OZKLog(logger, 4, "f", 1, "g", "into second");
    OZKLogger_flush();

    auto lines = readLines(first);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("INFO [] :0 : "), std::string::npos);
    EXPECT_NE(lines[1].find("DEBUG [] f:1 g: debug detail"), std::string::npos);
    lines = readLines(second);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("INFO [a] f:1 g: into second"), std::string::npos);
}

TEST_F(LoggingTest, ManyThreadsLoseNoRecordAndNeverInterleave) {
    std::string path = m_dir + "/threads.log";
    ASSERT_EQ(OZKLogger_initialize(path.c_str()), 0);
    const int kThreads = 6;
    const int kRecords = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            OZKLogger* logger = OZKLogger_getLogger(("module" + std::to_string(t % 3)).c_str());
            std::string padding(50 + t * 10, static_cast<char>('a' + t));
            for (int i = 0; i < kRecords; ++i) {
                std::string text = "t=" + std::to_string(t) + " i=" + std::to_string(i) + " " + padding + " end";
                OZKLog(logger, 4, "src/x", i, "worker", text.c_str());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    OZKLogger_flush();

    auto lines = readLines(path);
    ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kRecords));
    std::regex whole(R"(.* INFO \[module\d\] src/x:(\d+) worker: t=(\d) i=(\d+) ([a-h])+ end)");
    std::set<std::pair<int, int>> seen;
    for (const auto& line : lines) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, whole)) << line;
        int t = std::stoi(m[2]);
        int i = std::stoi(m[3]);
        EXPECT_EQ(std::stoi(m[1]), i);
        EXPECT_EQ(m[4].str()[0], 'a' + t);
        seen.insert({t, i});
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kRecords));
}

// ---------------------------------------------------------------- files

TEST_F(LoggingTest, CreatesPrivateFoldersAndFileWhateverTheUmask) {
    ScopedUmask permissive(0);
    std::string path = m_dir + "/one/two/private.log";
    ASSERT_EQ(OZKLogger_initialize(path.c_str()), 0);
    EXPECT_EQ(modeOf(m_dir + "/one"), 0700u);
    EXPECT_EQ(modeOf(m_dir + "/one/two"), 0700u);
    EXPECT_EQ(modeOf(path), 0600u);
    // A folder that existed already is not ours to change.
    EXPECT_EQ(modeOf(m_dir), 0700u);
    ASSERT_EQ(chmod(m_dir.c_str(), 0755), 0);
    ASSERT_EQ(OZKLogger_initialize((m_dir + "/other.log").c_str()), 0);
    EXPECT_EQ(modeOf(m_dir), 0755u);
    EXPECT_EQ(modeOf(m_dir + "/other.log"), 0600u);

    // An existing world-readable file is narrowed and appended to.
    std::string old = m_dir + "/old.log";
    std::ofstream(old) << "older record\n";
    ASSERT_EQ(chmod(old.c_str(), 0644), 0);
    ASSERT_EQ(OZKLogger_initialize(old.c_str()), 0);
    EXPECT_EQ(modeOf(old), 0600u);
    OZKLog(OZKLogger_getLogger("m"), 4, "f", 1, "g", "newer record");
    OZKLogger_flush();
    auto lines = readLines(old);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "older record");
}

TEST_F(LoggingTest, RotatesAtTheSizeLimitKeepingPrivateFiles) {
    ScopedUmask permissive(0);
    std::string path = m_dir + "/rot.log";
    const size_t kLimit = 4096;
    ASSERT_EQ(OZKLogger_initializeWithLimits(path.c_str(), kLimit, 2), 0);
    OZKLogger* logger = OZKLogger_getLogger("rot");
    std::string text(100, 'x');
    for (int i = 0; i < 300; ++i) {  // about 45 KB: many rotations
        OZKLog(logger, 4, "f", i, "g", text.c_str());
    }
    OZKLogger_flush();

    for (const std::string& file : {path, m_dir + "/rot.1.log", m_dir + "/rot.2.log"}) {
        SCOPED_TRACE(file);
        ASSERT_TRUE(exists(file));
        EXPECT_EQ(modeOf(file), 0600u);
        struct stat st;
        ASSERT_EQ(stat(file.c_str(), &st), 0);
        EXPECT_LE(static_cast<size_t>(st.st_size), kLimit);
        EXPECT_GT(st.st_size, 0);
    }
    EXPECT_FALSE(exists(m_dir + "/rot.3.log"));
    // The newest record is in the current file.
    auto lines = readLines(path);
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find(" f:299 g: "), std::string::npos);
}

TEST_F(LoggingTest, UnusablePathDisablesLoggingWithOneLineOnStderr) {
    std::string blocker = m_dir + "/plainfile";
    { std::ofstream(blocker) << "x"; }
    const std::vector<std::string> bad = {"", blocker + "/sub/x.log", "/proc/no-such-folder/x.log", m_dir};
    for (const auto& path : bad) {
        SCOPED_TRACE(path);
        testing::internal::CaptureStderr();
        int result = OZKLogger_initialize(path.c_str());
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_NE(result, 0);
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
        OZKLog(OZKLogger_getLogger("m"), 4, "f", 1, "g", "goes nowhere");
        OZKLogger_flush();
    }
    testing::internal::CaptureStderr();
    EXPECT_NE(OZKLogger_initialize(nullptr), 0);
    EXPECT_NE(OZKLogger_initializeWithLimits((m_dir + "/zero.log").c_str(), 0, 1), 0);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 2) << err;
    EXPECT_FALSE(exists(m_dir + "/zero.log"));
}

// ---------------------------------------------------------------- host glue

TEST(FileUtilTest, LogPathFollowsStateHomeThenHome) {
    ScopedEnv home("HOME", "/home/alice");
    {
        ScopedEnv xdg("XDG_STATE_HOME", "/var/state/alice/");
        EXPECT_EQ(FileUtil::getLogFilePath(""), "/var/state/alice/Marlin Web SDK/softphone.log");
        EXPECT_EQ(FileUtil::getLogFilePath("other.log"), "/var/state/alice/Marlin Web SDK/other.log");
    }
    {
        ScopedEnv xdg("XDG_STATE_HOME", nullptr);
        EXPECT_EQ(FileUtil::getLogFilePath(""), "/home/alice/.local/state/Marlin Web SDK/softphone.log");
    }
    for (const char* ignored : {"", "relative/state"}) {
        ScopedEnv xdg("XDG_STATE_HOME", ignored);
        EXPECT_EQ(FileUtil::getLogFilePath(""), "/home/alice/.local/state/Marlin Web SDK/softphone.log");
    }
    // An empty HOME falls back to the user database.
    ScopedEnv xdg("XDG_STATE_HOME", nullptr);
    ScopedEnv noHome("HOME", "");
    struct passwd* pw = getpwuid(getuid());
    if (pw != nullptr && pw->pw_dir != nullptr && pw->pw_dir[0] != '\0') {
        EXPECT_EQ(FileUtil::getLogFilePath(""), std::string(pw->pw_dir) + "/.local/state/Marlin Web SDK/softphone.log");
    }
}

TEST(FileUtilTest, NoHomeFolderGivesEmptyPath) {
    if (getuid() != 0) {
        GTEST_SKIP() << "needs root to become a user without a passwd entry";
    }
    // A child process becomes a user unknown to the user database.
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        unsetenv("HOME");
        unsetenv("XDG_STATE_HOME");
        if (setuid(54321) != 0 || getpwuid(getuid()) != nullptr) {
            _exit(2);
        }
        _exit(FileUtil::getLogFilePath("").empty() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(LogFactoryTest, InitialisesOnceAndHandsOutOneShim) {
    pelatest::TempDir tmp;
    const std::string dir = tmp.path();

    ILog* log = LogFactory::getLogger();
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(LogFactory::getLogger(), log);
    EXPECT_EQ(log->getProcessID(), static_cast<int>(getpid()));

    {
        ScopedEnv xdg("XDG_STATE_HOME", dir.c_str());
        LogFactory::initLogging("");
        LogFactory::initLogging("second.log");  // ignored: already initialised
    }
    std::string path = dir + "/Marlin Web SDK/softphone.log";
    EXPECT_TRUE(exists(path));
    EXPECT_FALSE(exists(dir + "/Marlin Web SDK/second.log"));

    OZKLogger* logger = OZKLogger_getLogger("tessel");
    LogFactory::setOZKLogger(logger);
    EXPECT_EQ(log->getOZKLogger(), logger);
    PELA_LOG4(log, "src/pela/src/Test", "value=[" << 5 << "]");
    OZKLogger_flush();
    auto lines = readLines(path);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("INFO [tessel] src/pela/src/Test:"), std::string::npos);
    EXPECT_NE(lines[0].find(": [" + std::to_string(getpid()) + "] value=[5]"), std::string::npos);

    OZKLogger_shutdown();
}

}  // namespace
