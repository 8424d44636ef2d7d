// The outbound side: FileWriter framing and errors, and the StdoutHandler
// thread draining a real queue into a real pipe.

#include "channel/FileWriter.h"

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
#include "channel/StdoutHandler.h"
#include "dispatch/SendChannelTextTask.h"
#include "dispatch/TaskImpl.h"
#include "dispatch/TaskQueue.h"

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
}

TEST_F(FileWriterTest, NewlineModeWritesOneLineWithoutLineFeedsOrTabs) {
    useMode(FileWriter::WriteModeNewline);
    m_writer.write("{\"a\":\t1,\n\"b\":2}\r");
    m_writer.write("plain");
    m_pipe.closeWrite();
    EXPECT_EQ("{\"a\":1,\"b\":2}\r\nplain\n", m_pipe.readToEnd(2s));
}

TEST_F(FileWriterTest, NothingIsWrittenWithoutAStreamOrWithAnUnknownMode) {
    m_writer.setLog(&m_log);
    for (auto mode : {FileWriter::WriteModeChrome, FileWriter::WriteModeNewline}) {
        m_writer.setWriteMode(mode);
        m_writer.write("lost");
    }

    m_writer.setFILE(m_pipe.writeStream());
    m_writer.setWriteMode(static_cast<FileWriter::WriteMode>(12));
    m_writer.write("lost");
    m_pipe.closeWrite();
    EXPECT_EQ("", m_pipe.readToEnd(2s));
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
}

TEST_F(StdoutHandlerTest, TasksThatAreNotTextsAreLoggedAndSkipped) {
    start();
    m_spQueue->push(std::shared_ptr<ITask>());
    m_spQueue->push(std::make_shared<OtherTask>());
    m_spQueue->push(textTask("ok"));
    EXPECT_EQ(chromeFrame("ok"), m_pipe.read(6, 5s));

    m_spHandler->processTask(std::shared_ptr<ITask>());
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

}  // namespace
