#pragma once

#include <memory>
#include <set>

#include "dispatch/ITaskSink.h"
#include "threading/Mutex.h"

class ILog;
class ZepWrapperAPI;

namespace tessel {

class IManagedEventObserver;
class TaskRegistry;

// Owns the host's framework observers, wires them up, registers and
// unregisters them together, and carries the tasks they produce into the
// inbound queue. Must be held by a shared pointer: configure() points the
// observers' sink at this object weakly.
//
// configure, setTaskRegistry, addObserver, registerAll and unregisterAll are
// called by start-up and shutdown on one thread; push may come from any
// thread, through the delegate.
class EventManager : public std::enable_shared_from_this<EventManager> {
public:
    // The sink every observer gets, so observers never hold the manager or
    // the queue strongly. Once pointed at no manager, pushes are dropped.
    class TaskSinkDelegate : public ITaskSink {
    public:
        void setEventManager(std::shared_ptr<EventManager> manager);
        void push(std::shared_ptr<ITask> task) override;

    private:
        ozk::Mutex m_mutex;
        std::weak_ptr<EventManager> m_wpEventManager;
    };

    EventManager();
    ~EventManager();
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    // Handed to every observer added afterwards; call before configure.
    void setTaskRegistry(std::shared_ptr<TaskRegistry> registry);
    // Stores the collaborators (the sink weakly) and adds the seven observers.
    void configure(ILog* log, ZepWrapperAPI* pZepW, std::shared_ptr<ITaskSink> sink);
    void addObserver(std::shared_ptr<IManagedEventObserver> observer);
    void registerAll();
    // Afterwards tasks the observers push are dropped.
    void unregisterAll();
    void push(std::shared_ptr<ITask> task);

private:
    ILog* m_log = nullptr;
    ZepWrapperAPI* m_pZepW = nullptr;
    std::weak_ptr<ITaskSink> m_wpTaskSink;
    std::weak_ptr<TaskRegistry> m_wpTaskRegistry;
    std::shared_ptr<TaskSinkDelegate> m_spTaskSinkDelegate;
    std::set<std::shared_ptr<IManagedEventObserver>> m_observers;
};

}  // namespace tessel
