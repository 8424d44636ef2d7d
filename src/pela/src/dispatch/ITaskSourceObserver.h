#pragma once

namespace tessel {

class ITaskSourceObserver {
public:
    virtual ~ITaskSourceObserver() = default;
    virtual void notifyNewTask() = 0;
};

}  // namespace tessel
