#include "dispatch/TaskRegistry.h"

#include "threading/ScopedLock.h"

namespace tessel {

std::shared_ptr<TaskRegistry> TaskRegistry::getInstance() {
    // Never destroyed: tasks may still be looked up while the process ends.
    static std::shared_ptr<TaskRegistry>* instance = new std::shared_ptr<TaskRegistry>(new TaskRegistry());
    return *instance;
}

void TaskRegistry::registerTaskFactory(const std::string& name, std::shared_ptr<ITaskFactory> factory,
                                       bool requiresAuthorization) {
    if (!factory || name.empty()) {
        return;
    }
    ozk::ScopedLock lock(m_mutex);
    // The first registration of a name wins.
    m_elements.emplace(name, Element{factory, requiresAuthorization});
}

std::shared_ptr<ITask> TaskRegistry::getTaskForName(const std::string& name) {
    ozk::ScopedLock lock(m_mutex);
    auto it = m_elements.find(name);
    if (it == m_elements.end()) {
        return std::shared_ptr<ITask>();
    }
    return it->second.spFactory->createInstance();
}

bool TaskRegistry::taskRequiresAuthorization(const std::string& name) {
    ozk::ScopedLock lock(m_mutex);
    auto it = m_elements.find(name);
    return it == m_elements.end() ? true : it->second.requiresAuthorization;
}

std::string TaskRegistry::dumpNames() {
    ozk::ScopedLock lock(m_mutex);
    std::string names;
    for (const auto& element : m_elements) {
        names += element.first;
        names += ' ';
    }
    return names;
}

}  // namespace tessel
