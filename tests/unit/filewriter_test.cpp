// The outbound side: FileWriter framing and errors, and the StdoutHandler
// thread draining a real queue into a real pipe.

#include "FileWriter.h"

#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "Pipe.h"
#include "SendChannelTextTask.h"
#include "StdoutHandler.h"
#include "TaskImpl.h"
#include "TaskQueue.h"

namespace {

using namespace std::chrono_literals;
using tessel::FileWriter;
using tessel::ITask;
using tessel::SendChannelTextTask;
using tessel::StdoutHandler;
using tessel::TaskQueue;
using tessel::test::CapturingLog;
using tessel::test::chromeFrame;
using tessel::test::Pipe;

std::shared_ptr<ITask> textTask(const std::string& text) {
    auto spTask = std::make_shared<SendChannelTextTask>();
    spTask->setMessageString(text);
    return spTask;
}

class FileWriterTest : public ::testing::Test {
protected:
    void useMode(FileWriter::WriteMode mode) {
        m_writer.setLog(&m_log);
        m_writer.setWriteMode(mode);
        m_writer.setFILE(m_pipe.writeStream());
    }

    Pipe m_pipe;
    CapturingLog m_log;
    FileWriter m_writer;
};

TEST_F(FileWriterTest, ChromeModePrefixesTheLengthInHostOrder) {
    useMode(FileWriter::WriteModeChrome);
    m_writer.write("{}");
    EXPECT_EQ(std::string("\x02\x00\x00\x00{}", 6), m_pipe.read(6, 2s));
    m_writer.write("");
    EXPECT_EQ(std::string(4, '\0'), m_pipe.read(4, 2s));
    const std::string text(300, 'x');
    m_writer.write(text);
    EXPECT_EQ(std::string("\x2c\x01\x00\x00", 4) + text, m_pipe.read(304, 2s));

    for (const char* line : {"[send] (len=2) {}", "[send] (len=0) ", "[send] (len=300) xxx"}) {
        EXPECT_TRUE(m_log.contains(line)) << line;
    }
}

TEST_F(FileWriterTest, NewlineModeWritesOneLineWithoutLineFeedsOrTabs) {
    useMode(FileWriter::WriteModeNewline);
    m_writer.write("{\"a\":\t1,\n\"b\":2}\r");
    m_writer.write("plain");
    m_pipe.closeWrite();
    EXPECT_EQ("{\"a\":1,\"b\":2}\r\nplain\n", m_pipe.readToEnd(2s));
    // The log shows the text as given.
    EXPECT_TRUE(m_log.contains("[send] {\"a\":\t1,\n\"b\":2}\r"));
}

TEST_F(FileWriterTest, NothingIsWrittenWithoutAStreamOrWithAnUnknownMode) {
    m_writer.setLog(&m_log);
    for (auto mode : {FileWriter::WriteModeChrome, FileWriter::WriteModeNewline}) {
        m_writer.setWriteMode(mode);
        m_writer.write("lost");
    }
    EXPECT_EQ(2u, m_log.count("Cannot write to output, no FILE"));

    m_writer.setFILE(m_pipe.writeStream());
    m_writer.setWriteMode(static_cast<FileWriter::WriteMode>(12));
    m_writer.write("lost");
    EXPECT_TRUE(m_log.contains("FileWriter, unimplemented mode: 12"));
    EXPECT_FALSE(m_log.contains("[send]"));
    m_pipe.closeWrite();
    EXPECT_EQ("", m_pipe.readToEnd(2s));
}

TEST_F(FileWriterTest, AVanishedReaderIsLoggedWithTheSystemError) {
    // As in the host: a closed pipe must fail the write, not kill the process.
    struct sigaction ignore {};
    struct sigaction previous {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &previous);

    useMode(FileWriter::WriteModeChrome);
    m_pipe.closeRead();
    // Unbuffered, so each byte meets the broken pipe at once.
    setvbuf(m_pipe.writeStream(), nullptr, _IONBF, 0);
    m_writer.write("{}");

    const std::string code = std::to_string(EPIPE);
    const std::string text = strerror(EPIPE);
    size_t prefixErrors = 0;
    for (const auto& record : m_log.records()) {
        if (record.function == "_checkerrno") {
            ++prefixErrors;
            EXPECT_NE(std::string::npos, record.text.find("errno->" + code + text));
        }
    }
    EXPECT_EQ(4u, prefixErrors);
    EXPECT_TRUE(m_log.contains("Failed writing to output. numWritten=0"));
    EXPECT_TRUE(m_log.contains("errno->" + code + " " + text));

    m_log.clear();
    m_writer.setWriteMode(FileWriter::WriteModeNewline);
    m_writer.write("{}");
    EXPECT_TRUE(m_log.contains("errno->" + code + " " + text));
    sigaction(SIGPIPE, &previous, nullptr);
}

class OtherTask : public tessel::TaskImpl {
public:
    void execute() override {}
};

class StdoutHandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_spWriter->setLog(&m_log);
        m_spWriter->setWriteMode(FileWriter::WriteModeChrome);
        m_spWriter->setFILE(m_pipe.writeStream());
        m_spHandler->setLog(&m_log);
        m_spHandler->setTaskSource(m_spQueue);
        m_spHandler->setFileWriter(m_spWriter);
    }

    void TearDown() override {
        if (m_started) {
            m_spHandler->stop();
            EXPECT_FALSE(m_spHandler->join());
        }
    }

    void start() {
        ASSERT_EQ(0, m_spHandler->start());
        m_started = true;
        ASSERT_TRUE(m_log.waitFor("Stdout handler running", 5s));
    }

    Pipe m_pipe;
    CapturingLog m_log;
    std::shared_ptr<TaskQueue> m_spQueue = std::make_shared<TaskQueue>();
    std::shared_ptr<FileWriter> m_spWriter = std::make_shared<FileWriter>();
    std::shared_ptr<StdoutHandler> m_spHandler = std::make_shared<StdoutHandler>();
    bool m_started = false;
};

TEST_F(StdoutHandlerTest, EveryQueuedTextIsWrittenInOrderUpToStop) {
    start();
    const int kCount = 200;
    std::string expected;
    for (int i = 0; i < kCount; ++i) {
        expected += chromeFrame("{\"n\":" + std::to_string(i) + "}");
    }
    std::thread pusher([this] {
        for (int i = 0; i < kCount; ++i) {
            m_spQueue->push(textTask("{\"n\":" + std::to_string(i) + "}"));
        }
    });
    std::string written = m_pipe.read(expected.size(), 5s);
    pusher.join();
    EXPECT_EQ(expected, written);

    // A reply queued right before stop() still goes out.
    m_spQueue->push(textTask("last"));
    m_spHandler->stop();
    EXPECT_FALSE(m_spHandler->join());
    m_started = false;
    m_pipe.closeWrite();
    EXPECT_EQ(chromeFrame("last"), m_pipe.readToEnd(2s));
    EXPECT_TRUE(m_log.contains("StdoutHandler wait for thread to exit."));
    EXPECT_TRUE(m_log.contains("Stdout handler exiting"));
}

TEST_F(StdoutHandlerTest, TasksThatAreNotTextsAreLoggedAndSkipped) {
    start();
    m_spQueue->push(std::shared_ptr<ITask>());
    m_spQueue->push(std::make_shared<OtherTask>());
    m_spQueue->push(textTask("ok"));
    EXPECT_EQ(chromeFrame("ok"), m_pipe.read(6, 5s));
    EXPECT_TRUE(m_log.contains("UNEXPECTED popped empty Task smart pointer."));
    EXPECT_TRUE(m_log.contains(std::string("UNEXPECTED: Type of Task to output: ") + typeid(OtherTask).name()));

    m_spHandler->processTask(std::shared_ptr<ITask>());
    EXPECT_TRUE(m_log.contains("UNEXPECTED: Unable to process empty Task smart pointer"));
}

TEST_F(StdoutHandlerTest, WithoutLogEveryTaskIsDropped) {
    m_spHandler->setLog(nullptr);
    ASSERT_EQ(0, m_spHandler->start());
    std::weak_ptr<ITask> wpTask;
    {
        auto spTask = textTask("dropped");
        wpTask = spTask;
        m_spQueue->push(spTask);
    }
    // The handler has taken it once nobody holds it any more.
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (!wpTask.expired() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(2ms);
    }
    ASSERT_TRUE(wpTask.expired());
    m_spHandler->stop();
    EXPECT_FALSE(m_spHandler->join());
    m_pipe.closeWrite();
    EXPECT_EQ("", m_pipe.readToEnd(2s));
}

TEST_F(StdoutHandlerTest, VanishedWriterOrQueueIsLogged) {
    m_spWriter.reset();
    start();
    m_spQueue->push(textTask("nowhere"));
    EXPECT_TRUE(m_log.waitFor("StdoutHandler, no FileWriter, unable to process task", 5s));

    CapturingLog orphanLog;
    auto spOrphan = std::make_shared<StdoutHandler>();
    spOrphan->setLog(&orphanLog);
    spOrphan->setTaskSource(std::make_shared<TaskQueue>());  // gone at once
    ASSERT_EQ(0, spOrphan->start());
    EXPECT_TRUE(orphanLog.waitFor("StdoutHandler::run: no TaskSource, cannot process task.", 5s));
    spOrphan->stop();
    EXPECT_FALSE(spOrphan->join());
    EXPECT_TRUE(
        orphanLog.contains("UNEXPECTED StdoutHandler::_registerObserver: no TaskSource, unable to register observer"));
    EXPECT_TRUE(orphanLog.contains(
        "UNEXPECTED StdoutHandler::_unregisterObserver: no TaskSource, unable to unregister observer"));
}

}  // namespace
