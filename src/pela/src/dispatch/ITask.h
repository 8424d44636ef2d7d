#pragma once

#include <memory>

namespace tessel {

class ITaskContext;

class ITask {
public:
    virtual ~ITask() = default;
    virtual void setContext(std::shared_ptr<ITaskContext> context) = 0;
    virtual void execute() = 0;
    virtual std::shared_ptr<ITaskContext> getTaskContext() = 0;
};

}  // namespace tessel
