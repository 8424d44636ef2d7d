#include "dispatch/TaskHandler.h"

#include <algorithm>

#include "bridge/IZepWCmdClient.h"
#include "dispatch/TaskContext.h"
#include "logging/LogMacros.h"

static const char* const kSrc = "src/pela/src/TaskHandler";

namespace tessel {

namespace {
// Bounds on the sleep between two pumps of a running framework: never a spin,
// and never so long that a framework misjudging its timers goes deaf.
const long kMinPumpWaitMs = 1;
const long kMaxPumpWaitMs = 1000;
}  // namespace

TaskHandler::TaskHandler() = default;

TaskHandler::~TaskHandler() = default;

void TaskHandler::setLog(ILog* log) {
    m_log = log;
}

void TaskHandler::setTaskSource(std::shared_ptr<ITaskSource> source) {
    m_wpTaskSource = source;
}

void TaskHandler::setTaskDoneSink(std::shared_ptr<ITaskSink> sink) {
    m_wpTaskDoneSink = sink;
}

void TaskHandler::setTaskRegistry(std::shared_ptr<TaskRegistry> registry) {
    m_wpTaskRegistry = registry;
}

void TaskHandler::setClientManager(std::shared_ptr<ClientManager> manager) {
    m_wpClientManager = manager;
}

void TaskHandler::setZepCmdcli(std::shared_ptr<IZepWCmdClient> cmdcli) {
    m_wpZepCmdcli = cmdcli;
}

void TaskHandler::setIsRunByChrome(bool value) {
    m_isRunByChrome = value;
}

void TaskHandler::setIsWin32Platform(bool value) {
    m_isWin32Platform = value;
}

int TaskHandler::start() {
    return m_thread.start(*this);
}

void TaskHandler::notifyNewTask() {
    m_wakeUp.set();
}

void TaskHandler::stop() {
    m_stop = true;
    m_wakeUp.set();
}

bool TaskHandler::join() {
    PELA_LOG4(m_log, kSrc, "TaskHandler wait for thread to exit.");
    return m_thread.join();
}

void TaskHandler::run() {
    // Keeps the handler alive while its own thread runs, even if the owner
    // lets go of it first.
    std::shared_ptr<TaskHandler> self = weak_from_this().lock();
    _registerObserver(self);
    // Tasks pushed before the observer was registered woke nobody: look at
    // the queue once straight away.
    m_wakeUp.set();
    PELA_LOG4(m_log, kSrc, "Task handler running");

    // Work the framework gets from its other threads wakes us like a task.
    if (std::shared_ptr<IZepWCmdClient> spZepCmdcli = m_wpZepCmdcli.lock()) {
        std::weak_ptr<TaskHandler> weakSelf = self;
        spZepCmdcli->setDispatcherWakeUp([weakSelf] {
            if (std::shared_ptr<TaskHandler> handler = weakSelf.lock()) {
                handler->notifyNewTask();
            }
        });
    }

    while (!m_stop) {
        std::shared_ptr<IZepWCmdClient> spZepCmdcli = m_wpZepCmdcli.lock();
        // The framework says when its next work is due: soon while calls are
        // set up, rarely while idle. Before it starts nothing is due, so the
        // handler sleeps until a task comes (a task is also what starts it).
        const long due = spZepCmdcli ? spZepCmdcli->dispatcherIdleMs() : -1;
        const bool woken =
            due < 0 ? m_wakeUp.wait() : m_wakeUp.timedWait(std::clamp(due, kMinPumpWaitMs, kMaxPumpWaitMs));
        if (woken) {
            std::shared_ptr<ITaskSource> spTaskSource = m_wpTaskSource.lock();
            if (!spTaskSource) {
                PELA_LOG4(m_log, kSrc, "TaskHandler::run: no TaskSource, cannot process task.");
                break;
            }
            std::shared_ptr<ITask> spTask;
            while (spTaskSource->pop(spTask)) {
                if (spTask) {
                    processTask(spTask);
                    if (spZepCmdcli) {
                        spZepCmdcli->pumpNextDispatcherTask();
                    }
                } else {
                    PELA_LOG4(m_log, kSrc, "UNEXPECTED popped empty Task smart pointer.");
                }
                spTask.reset();
            }
        }
        if (spZepCmdcli) {
            spZepCmdcli->pumpNextDispatcherTask();
        }
    }

    // The framework is stopped here, on the thread its queued work ran on.
    if (std::shared_ptr<IZepWCmdClient> spZepCmdcli = m_wpZepCmdcli.lock()) {
        spZepCmdcli->stopZepWrapper();
        spZepCmdcli->setDispatcherWakeUp(nullptr);
    }
    _unregisterObserver();
    PELA_LOG4(m_log, kSrc, "Task handler exiting");
}

void TaskHandler::processTask(std::shared_ptr<ITask> task) {
    if (m_log == nullptr || !task) {
        return;
    }
    std::shared_ptr<ITaskSink> spTaskDoneSink = m_wpTaskDoneSink.lock();
    std::shared_ptr<TaskRegistry> spTaskRegistry = m_wpTaskRegistry.lock();
    std::shared_ptr<ClientManager> spClientManager = m_wpClientManager.lock();
    std::shared_ptr<IZepWCmdClient> spZepCmdcli = m_wpZepCmdcli.lock();
    if (!spTaskDoneSink) {
        PELA_LOG4(m_log, kSrc, "TaskHandler::processTask !spTaskDoneSink, skipping task");
        return;
    }
    if (!spTaskRegistry) {
        PELA_LOG4(m_log, kSrc, "TaskHandler::processTask !spTaskRegistry, skipping task");
        return;
    }
    if (!spClientManager) {
        PELA_LOG4(m_log, kSrc, "TaskHandler::processTask !spClientManager, skipping task");
        return;
    }
    if (!spZepCmdcli) {
        PELA_LOG4(m_log, kSrc, "TaskHandler::processTask !spZepCmdcli, skipping task");
        return;
    }

    std::shared_ptr<ITaskContext> spExisting = task->getTaskContext();
    std::shared_ptr<TaskContext> spContext = std::dynamic_pointer_cast<TaskContext>(spExisting);
    if (!spContext) {
        spContext = std::make_shared<TaskContext>();
        // A context of another kind still hands over its client and request.
        if (spExisting) {
            spContext->clone(spExisting.get());
        }
    }
    spContext->setLog(m_log);
    spContext->setTaskDoneSink(spTaskDoneSink);
    spContext->setTaskRegistry(spTaskRegistry);
    spContext->setClientManager(spClientManager);
    spContext->setZepCmdcli(spZepCmdcli);
    spContext->setIsRunByChrome(m_isRunByChrome);
    spContext->setIsWin32Platform(m_isWin32Platform);
    task->setContext(spContext);

    PELA_LOG4(m_log, kSrc, "execute task");
    task->execute();
}

void TaskHandler::_registerObserver(const std::shared_ptr<TaskHandler>& self) {
    std::shared_ptr<ITaskSource> spTaskSource = m_wpTaskSource.lock();
    if (!spTaskSource) {
        PELA_LOG4(m_log, kSrc, "UNEXPECTED TaskHandler::_registerObserver: no TaskSource, unable to register observer");
        return;
    }
    if (!self) {
        PELA_LOG4(m_log, kSrc,
                  "UNEXPECTED TaskHandler::_registerObserver: not held by a shared pointer, unable to "
                  "register observer");
        return;
    }
    spTaskSource->registerObserver(self);
}

void TaskHandler::_unregisterObserver() {
    std::shared_ptr<ITaskSource> spTaskSource = m_wpTaskSource.lock();
    if (!spTaskSource) {
        PELA_LOG4(m_log, kSrc,
                  "UNEXPECTED TaskHandler::_unregisterObserver: no TaskSource, unable to unregister observer");
        return;
    }
    spTaskSource->unregisterObserver();
}

}  // namespace tessel
