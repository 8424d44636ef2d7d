#pragma once

#include <atomic>
#include <memory>

#include "channel/FileWriter.h"
#include "dispatch/ITask.h"
#include "dispatch/ITaskSource.h"
#include "dispatch/ITaskSourceObserver.h"
#include "logging/ILog.h"
#include "threading/Event.h"
#include "threading/Runnable.h"
#include "threading/Thread.h"

namespace tessel {

// The outbound queue's consumer: wakes when a task is pushed, drains the queue
// and gives each SendChannelTextTask's text to the FileWriter. Being the only
// writer, frames are never interleaved.
class StdoutHandler : public ozk::Runnable,
                      public ITaskSourceObserver,
                      public std::enable_shared_from_this<StdoutHandler> {
public:
    StdoutHandler();
    StdoutHandler(const StdoutHandler&) = delete;
    StdoutHandler& operator=(const StdoutHandler&) = delete;

    void setLog(ILog* log);
    void setTaskSource(std::shared_ptr<ITaskSource> source);
    void setFileWriter(std::shared_ptr<FileWriter> writer);

    // The handler must be held by a shared pointer: it registers itself.
    int start();
    void notifyNewTask() override;
    void stop();
    // true on failure, as ozk::Thread::join.
    bool join();

    void run() override;
    void processTask(std::shared_ptr<ITask> task);

private:
    void _registerObserver();
    void _unregisterObserver();
    void _drain(ITaskSource& source);

    ILog* m_pLog;
    std::weak_ptr<ITaskSource> m_wpTaskSource;
    std::weak_ptr<FileWriter> m_wpFileWriter;
    ozk::Thread m_thread;
    ozk::Event m_event;
    std::atomic<bool> m_stop;
};

}  // namespace tessel
