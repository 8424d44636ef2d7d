#pragma once

#include <atomic>
#include <memory>

#include "dispatch/ITask.h"
#include "dispatch/ITaskSink.h"
#include "dispatch/ITaskSource.h"
#include "dispatch/ITaskSourceObserver.h"
#include "threading/Event.h"
#include "threading/Runnable.h"
#include "threading/Thread.h"

class ILog;

namespace tessel {

class ClientManager;
class IZepWCmdClient;
class TaskRegistry;

// The single worker thread: executes the inbound tasks one at a time, in
// queue order, and gives the framework's dispatcher a turn after every task
// and at least once a millisecond. Collaborators are held weakly; configure
// everything before start().
class TaskHandler : public ozk::Runnable, public ITaskSourceObserver, public std::enable_shared_from_this<TaskHandler> {
public:
    TaskHandler();
    ~TaskHandler() override;
    TaskHandler(const TaskHandler&) = delete;
    TaskHandler& operator=(const TaskHandler&) = delete;

    void setLog(ILog* log);
    void setTaskSource(std::shared_ptr<ITaskSource> source);
    void setTaskDoneSink(std::shared_ptr<ITaskSink> sink);
    void setTaskRegistry(std::shared_ptr<TaskRegistry> registry);
    void setClientManager(std::shared_ptr<ClientManager> manager);
    void setZepCmdcli(std::shared_ptr<IZepWCmdClient> cmdcli);
    void setIsRunByChrome(bool value);
    void setIsWin32Platform(bool value);

    // Returns the thread's start result (0 on success).
    int start();
    void notifyNewTask() override;
    // Seen within about a millisecond; tasks still queued are not executed.
    void stop();
    // true on failure, false on success (as ozk::Thread::join).
    bool join();

    void run() override;
    // Fills the task's context with the handler's collaborators and executes it.
    void processTask(std::shared_ptr<ITask> task);

private:
    void _registerObserver(const std::shared_ptr<TaskHandler>& self);
    void _unregisterObserver();

    ILog* m_log = nullptr;
    std::weak_ptr<ITaskSource> m_wpTaskSource;
    std::weak_ptr<ITaskSink> m_wpTaskDoneSink;
    std::weak_ptr<TaskRegistry> m_wpTaskRegistry;
    std::weak_ptr<ClientManager> m_wpClientManager;
    std::weak_ptr<IZepWCmdClient> m_wpZepCmdcli;
    ozk::Thread m_thread;
    ozk::Event m_wakeUp{true};
    std::atomic<bool> m_stop{false};
    bool m_isRunByChrome = false;
    bool m_isWin32Platform = false;
};

}  // namespace tessel
