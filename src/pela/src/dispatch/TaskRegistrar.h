#pragma once

#include <memory>

namespace tessel {

class TaskRegistry;

class TaskRegistrar {
public:
    static void registerTasks(std::shared_ptr<TaskRegistry> registry);
};

}  // namespace tessel
