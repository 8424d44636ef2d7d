#pragma once

#include <map>
#include <memory>
#include <string>

#include "dispatch/ITaskFactory.h"
#include "threading/Mutex.h"

namespace tessel {

class TaskRegistry {
public:
    static std::shared_ptr<TaskRegistry> getInstance();

    void registerTaskFactory(const std::string& name, std::shared_ptr<ITaskFactory> factory,
                             bool requiresAuthorization);
    std::shared_ptr<ITask> getTaskForName(const std::string& name);
    bool taskRequiresAuthorization(const std::string& name);
    std::string dumpNames();

private:
    struct Element {
        std::shared_ptr<ITaskFactory> spFactory;
        bool requiresAuthorization;
    };
    ozk::Mutex m_mutex;
    std::map<std::string, Element> m_elements;
};

}  // namespace tessel
