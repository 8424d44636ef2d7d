#pragma once

#include "dispatch/ITask.h"
#include "dispatch/ITaskContext.h"

namespace tessel {

class TaskImpl : public ITask {
public:
    void setContext(std::shared_ptr<ITaskContext> context) override { m_spContext = context; }
    std::shared_ptr<ITaskContext> getTaskContext() override { return m_spContext; }

private:
    std::shared_ptr<ITaskContext> m_spContext;
};

}  // namespace tessel
