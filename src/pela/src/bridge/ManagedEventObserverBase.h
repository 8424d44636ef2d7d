#pragma once

#include <memory>
#include <string>

#include "bridge/IManagedEventObserver.h"
#include "messages/Ptree.h"
#include "threading/Mutex.h"

class IObserverObject;

namespace tessel {

class HandleKnownContentEventTask;
class ITask;

// The state every framework observer shares: log, framework interface, and
// weak references to the task sink and the task registry, all guarded by one
// recursive mutex that also serialises an observer's callbacks against its
// registration.
class ManagedEventObserverBase : public IManagedEventObserver {
public:
    ManagedEventObserverBase();
    ~ManagedEventObserverBase() override;
    ManagedEventObserverBase(const ManagedEventObserverBase&) = delete;
    ManagedEventObserverBase& operator=(const ManagedEventObserverBase&) = delete;

    void setLog(ILog* log) override;
    void setTaskSink(std::shared_ptr<ITaskSink> sink) override;
    void setZepW(ZepWrapperAPI* pZepW) override;
    void setTaskRegistry(std::shared_ptr<TaskRegistry> registry) override;

    ozk::Mutex& getMutex();
    ILog* getLog();
    // Empty once the sink is gone.
    std::shared_ptr<ITaskSink> getTaskSink();
    ZepWrapperAPI* getZepW();
    // Empty when none was set or it is gone.
    std::shared_ptr<TaskRegistry> getTaskRegistry();

protected:
    // Under the mutex: hands self to the framework's registerObserver and logs
    // registeredText (none when null); without a framework logs failedText.
    void registerWithFramework(const char* source, std::shared_ptr<IObserverObject> self, const char* registeredText,
                               const char* failedText);
    // The same with unregisterObserver.
    void unregisterFromFramework(const char* source, std::shared_ptr<IObserverObject> self,
                                 const char* unregisteredText, const char* failedText);
    // The sink, or empty after logging "No task sink. Ignore event." under
    // the observer's own source path.
    std::shared_ptr<ITaskSink> getTaskSinkOrLog(const char* source);
    // Under the mutex: pushes the task to the sink, or logs "No task sink.
    // Ignore event." under the observer's source path.
    void queueTask(const char* source, std::shared_ptr<ITask> task);
    // An event task; a null content sends the event without one.
    static std::shared_ptr<HandleKnownContentEventTask> newEvent(const std::string& eventName,
                                                                 std::shared_ptr<Ptree> content);
    // An event task whose content is the text itself.
    static std::shared_ptr<HandleKnownContentEventTask> newStringEvent(const std::string& eventName,
                                                                       const std::string& text);

private:
    ozk::Mutex m_mutex;
    ILog* m_log = nullptr;
    std::weak_ptr<ITaskSink> m_wpTaskSink;
    ZepWrapperAPI* m_pZepW = nullptr;
    std::weak_ptr<TaskRegistry> m_wpTaskRegistry;
};

}  // namespace tessel
