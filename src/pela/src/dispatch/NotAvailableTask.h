#pragma once

#include <memory>
#include <string>

#include "dispatch/ITaskFactory.h"
#include "dispatch/TaskImpl.h"

namespace tessel {

// Stands in for a command whose task this build does not have yet: the page
// gets "eOperationNotSupported" instead of a silent drop.
class NotAvailableTask : public TaskImpl {
public:
    explicit NotAvailableTask(const std::string& taskClassName) : m_taskClassName(taskClassName) {}
    void execute() override;

private:
    std::string m_taskClassName;
};

class NotAvailableTaskFactory : public ITaskFactory {
public:
    explicit NotAvailableTaskFactory(const std::string& taskClassName) : m_taskClassName(taskClassName) {}
    std::shared_ptr<ITask> createInstance() const override {
        return std::make_shared<NotAvailableTask>(m_taskClassName);
    }

private:
    std::string m_taskClassName;
};

}  // namespace tessel
