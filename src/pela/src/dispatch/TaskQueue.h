#pragma once

#include <deque>
#include <memory>

#include "dispatch/ITaskSink.h"
#include "dispatch/ITaskSource.h"
#include "threading/Mutex.h"

namespace tessel {

// The only hand-over between threads: many pushers, one consumer.
class TaskQueue : public ITaskSink, public ITaskSource {
public:
    void push(std::shared_ptr<ITask> task) override;
    bool pop(std::shared_ptr<ITask>& task) override;
    void registerObserver(std::shared_ptr<ITaskSourceObserver> observer) override;
    void unregisterObserver() override;

private:
    ozk::Mutex m_mutex;
    std::deque<std::shared_ptr<ITask>> m_tasks;
    std::weak_ptr<ITaskSourceObserver> m_observer;
};

}  // namespace tessel
