// The inbound reader over real pipes, in both framings, and the input-failure
// watcher.

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "CapturingSink.h"
#include "Pipe.h"
#include "channel/CinFailPoolingThread.h"
#include "channel/InputState.h"
#include "channel/StdinHandler.h"
#include "dispatch/RecvChannelTextTask.h"
#include "threading/Event.h"

namespace {

using namespace std::chrono_literals;
using tessel::CinFailPoolingThread;
using tessel::InputState;
using tessel::RecvChannelTextTask;
using tessel::StdinHandler;
using tessel::test::CapturingLog;
using tessel::test::CapturingSink;
using tessel::test::chromeFrame;
using tessel::test::lengthPrefix;
using tessel::test::Pipe;

const char* const kExiting = "Stdin handler exiting ";

class ReaderTest : public ::testing::Test {
protected:
    void SetUp() override { m_spShutdown->reset(); }

    void TearDown() override {
        // The reader only ends when its input does.
        m_pipe.closeWrite();
        if (m_started) {
            EXPECT_TRUE(m_log.waitFor(kExiting, 5s));
        }
        m_spReader.reset();
    }

    void start(bool isRunByChrome, ILog* log = nullptr) {
        m_spReader->configure(log != nullptr ? log : &m_log, m_spSink, isRunByChrome, m_spShutdown);
        startConfigured();
    }

    void startConfigured() {
        m_spReader->setInput(m_pipe.readStream(), m_spState);
        ASSERT_EQ(0, m_spReader->start());
        m_started = true;
    }

    std::vector<std::string> received() const {
        std::vector<std::string> out;
        for (const auto& spTask : m_spSink->tasksOf<RecvChannelTextTask>()) {
            out.push_back(spTask->getMessageString());
        }
        return out;
    }

    // Closes the input and waits until the reader has declared the pipe broken.
    void closeAndExpectBroken() {
        m_pipe.closeWrite();
        EXPECT_TRUE(m_spShutdown->timedWait(5000));
        EXPECT_TRUE(m_log.waitFor(kExiting, 5s));
        EXPECT_TRUE(m_spState->isFailed());
    }

    Pipe m_pipe;
    CapturingLog m_log;
    std::shared_ptr<CapturingSink> m_spSink = std::make_shared<CapturingSink>();
    std::shared_ptr<ozk::Event> m_spShutdown = std::make_shared<ozk::Event>(true);
    std::shared_ptr<InputState> m_spState = std::make_shared<InputState>();
    std::shared_ptr<StdinHandler> m_spReader = std::make_shared<StdinHandler>();
    bool m_started = false;
};

TEST_F(ReaderTest, ChromeFramesArriveWholeWhateverTheWriteBoundaries) {
    start(true);
    m_pipe.write(chromeFrame("hello"));
    ASSERT_TRUE(m_spSink->waitForSize(1, 5s));

    // One frame dribbled in over several writes.
    std::string frame = chromeFrame("split across writes");
    for (size_t cut : {1, 3, 7}) {
        m_pipe.write(frame.substr(0, cut));
        frame.erase(0, cut);
        std::this_thread::sleep_for(20ms);
    }
    m_pipe.write(frame);

    // An empty frame carries nothing but must keep the framing in step.
    m_pipe.write(lengthPrefix(0) + chromeFrame("after empty"));
    const std::string binary("a\0b\nc\xff", 6);
    m_pipe.write(chromeFrame(binary));
    // Larger than the pipe and than one read: every byte, in order.
    std::string big(200000, '\0');
    for (size_t i = 0; i < big.size(); ++i) {
        big[i] = static_cast<char>('a' + i % 23);
    }
    m_pipe.write(chromeFrame(big));

    ASSERT_TRUE(m_spSink->waitForSize(5, 5s));
    EXPECT_EQ((std::vector<std::string>{"hello", "split across writes", "after empty", binary, big}), received());

    // A prefix cut short leaves no length to trust.
    m_pipe.write(std::string("\x05\x00", 2));
    closeAndExpectBroken();
    EXPECT_EQ(5u, m_spSink->size());
}

TEST_F(ReaderTest, ChromePayloadCutShortIsDeliveredShortThenTheChannelBreaks) {
    start(true);
    m_pipe.write(lengthPrefix(10) + "abcd");
    closeAndExpectBroken();

    EXPECT_EQ(std::vector<std::string>{"abcd"}, received());
}

TEST_F(ReaderTest, PacketsThatMayCarryPasswordsAreHiddenInTheLogButDispatchedUnchanged) {
    start(true);
    const std::vector<std::string> hidden{
        R"({"cmd":"configure","server":"pbx"})",
        R"({"cmd":"login","note":"encryptPboxPassword","password":"s3cret1"})",
        R"({"cmd":"setUserProfileCredentials","password":"s3cret2"})",
        R"({"cmd":"dial","number":"reconfigured"})",
    };
    const std::string shown = R"({"cmd":"Configure"})";
    for (const auto& packet : hidden) {
        m_pipe.write(chromeFrame(packet));
    }
    m_pipe.write(chromeFrame(shown));
    ASSERT_TRUE(m_spSink->waitForSize(5, 5s));

    std::vector<std::string> expected = hidden;
    expected.push_back(shown);
    EXPECT_EQ(expected, received());
    EXPECT_EQ(4u, m_log.count("[recv] <PACKET NOT SHOWN>"));
    EXPECT_FALSE(m_log.contains("s3cret"));
    EXPECT_FALSE(m_log.contains("pbx"));
}

TEST_F(ReaderTest, NewlineModeDeliversOneMessagePerLine) {
    start(false);
    m_pipe.write("a\nb\n\n");
    m_pipe.write("c\r\nla");
    std::this_thread::sleep_for(20ms);
    // A last line without a line feed still counts.
    m_pipe.write("st");
    ASSERT_TRUE(m_spSink->waitForSize(3, 5s));
    closeAndExpectBroken();

    EXPECT_EQ((std::vector<std::string>{"a", "b", "c\r", "last"}), received());
}

TEST_F(ReaderTest, TextCallbackTakesEveryMessageInNewlineMode) {
    std::mutex mutex;
    std::condition_variable cond;
    std::vector<std::string> got;
    m_spReader->configure(&m_log, m_spSink, true, m_spShutdown);
    // Forces newline mode; sink and event stay as configured.
    m_spReader->configureForFB(&m_log, [&](std::string text) {
        std::lock_guard<std::mutex> lock(mutex);
        got.push_back(text);
        cond.notify_all();
    });
    startConfigured();
    m_pipe.write("m1\nm2\n");
    {
        std::unique_lock<std::mutex> lock(mutex);
        ASSERT_TRUE(cond.wait_for(lock, 5s, [&] { return got.size() == 2; }));
        EXPECT_EQ((std::vector<std::string>{"m1", "m2"}), got);
    }
    closeAndExpectBroken();
    EXPECT_EQ(0u, m_spSink->size());
}

TEST_F(ReaderTest, ReaderKeepsOnlyAWeakHoldOnItsSink) {
    auto spGone = std::make_shared<CapturingSink>();
    m_spReader->configure(&m_log, spGone, true, m_spShutdown);
    spGone.reset();
    startConfigured();
    // Dropped without a word; reading goes on.
    m_pipe.write(chromeFrame("one") + chromeFrame("two"));
    EXPECT_TRUE(m_log.waitFor("[recv] two", 5s));
    closeAndExpectBroken();
}

TEST_F(ReaderTest, WithoutLogOrEventTheReaderStillDeliversAndEnds) {
    m_spReader->configure(nullptr, m_spSink, true, nullptr);
    startConfigured();
    m_pipe.write(chromeFrame("quiet"));
    ASSERT_TRUE(m_spSink->waitForSize(1, 5s));
    m_pipe.closeWrite();
    auto deadline = std::chrono::steady_clock::now() + 5s;
    while (!m_spState->isFailed() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(5ms);
    }
    ASSERT_TRUE(m_spState->isFailed());
    m_spReader.reset();  // joins the ending thread
    m_started = false;
    EXPECT_EQ(std::vector<std::string>{"quiet"}, received());
    EXPECT_TRUE(m_log.records().empty());
    EXPECT_FALSE(m_spShutdown->timedWait(0));
}

class WatcherTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_spShutdown->reset();
        m_spWatcher->setInputState(m_spState);
    }

    CapturingLog m_log;
    std::shared_ptr<ozk::Event> m_spShutdown = std::make_shared<ozk::Event>(true);
    std::shared_ptr<InputState> m_spState = std::make_shared<InputState>();
    std::shared_ptr<CinFailPoolingThread> m_spWatcher = std::make_shared<CinFailPoolingThread>(m_spShutdown, &m_log);
};

TEST_F(WatcherTest, FailedInputSetsTheShutdownEventWithinAboutASecond) {
    ASSERT_EQ(0, m_spWatcher->start());
    ASSERT_TRUE(m_log.waitFor("CinFailPoolingThread handler running", 5s));
    EXPECT_FALSE(m_spShutdown->timedWait(200));

    m_spState->setFailed();
    EXPECT_TRUE(m_spShutdown->timedWait(2500));
    // The thread logs its exit after setting the event; join only then, so the order is fixed.
    ASSERT_TRUE(m_log.waitFor("CinFailPoolingThread exiting", 5s));
    EXPECT_FALSE(m_spWatcher->join());
}

TEST_F(WatcherTest, StopDuringTheWaitEndsAtOnceWithoutShutdown) {
    ASSERT_EQ(0, m_spWatcher->start());
    ASSERT_TRUE(m_log.waitFor("CinFailPoolingThread handler running", 5s));
    // Well inside the one-second poll: only the wake-up can end it soon.
    std::this_thread::sleep_for(300ms);
    auto before = std::chrono::steady_clock::now();
    m_spWatcher->stop();
    EXPECT_FALSE(m_spWatcher->join());
    EXPECT_LT(std::chrono::steady_clock::now() - before, 500ms);
    EXPECT_FALSE(m_spShutdown->timedWait(0));
}

TEST_F(WatcherTest, WatcherWithoutLogDoesNothing) {
    m_spWatcher->configure(nullptr, m_spShutdown);
    m_spState->setFailed();
    ASSERT_EQ(0, m_spWatcher->start());
    EXPECT_FALSE(m_spWatcher->join());
    EXPECT_FALSE(m_spShutdown->timedWait(0));
    EXPECT_TRUE(m_log.records().empty());
}

}  // namespace
