#pragma once

#include <memory>

#include "dispatch/ITask.h"
#include "dispatch/ITaskSourceObserver.h"

namespace tessel {

class ITaskSource {
public:
    virtual ~ITaskSource() = default;
    virtual bool pop(std::shared_ptr<ITask>& task) = 0;
    virtual void registerObserver(std::shared_ptr<ITaskSourceObserver> observer) = 0;
    virtual void unregisterObserver() = 0;
};

}  // namespace tessel
