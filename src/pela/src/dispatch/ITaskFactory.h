#pragma once

#include <memory>

#include "dispatch/ITask.h"

namespace tessel {

class ITaskFactory {
public:
    virtual ~ITaskFactory() = default;
    virtual std::shared_ptr<ITask> createInstance() const = 0;
};

template <class T>
class TaskFactoryImpl : public ITaskFactory {
public:
    std::shared_ptr<ITask> createInstance() const override { return std::make_shared<T>(); }
};

}  // namespace tessel
