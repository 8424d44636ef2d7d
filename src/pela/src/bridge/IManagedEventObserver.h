#pragma once

#include <memory>

class ILog;
class ZepWrapperAPI;

namespace tessel {

class ITaskSink;
class TaskRegistry;

// A framework observer as the event manager drives it: wired up through the
// setters, then registered with the framework and later unregistered.
class IManagedEventObserver {
public:
    virtual ~IManagedEventObserver() = default;
    virtual void setLog(ILog* log) = 0;
    virtual void setTaskSink(std::shared_ptr<ITaskSink> sink) = 0;
    virtual void setZepW(ZepWrapperAPI* pZepW) = 0;
    virtual void registerSelf() = 0;
    virtual void unregisterSelf() = 0;
    // Where observers that turn framework input into commands find the
    // command tasks; held weakly.
    virtual void setTaskRegistry(std::shared_ptr<TaskRegistry> registry) = 0;
};

}  // namespace tessel
