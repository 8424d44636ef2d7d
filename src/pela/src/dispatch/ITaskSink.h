#pragma once

#include <memory>

#include "dispatch/ITask.h"

namespace tessel {

class ITaskSink {
public:
    virtual ~ITaskSink() = default;
    virtual void push(std::shared_ptr<ITask> task) = 0;
};

}  // namespace tessel
