#pragma once

#include <memory>

#include "dispatch/TaskRegistrar.h"
#include "dispatch/TaskRegistry.h"

namespace tessel {
namespace test {

// The host's own table of commands, built once per process as start-up builds it.
inline std::shared_ptr<TaskRegistry> commandTable() {
    static const std::shared_ptr<TaskRegistry> registry = [] {
        auto r = std::make_shared<TaskRegistry>();
        TaskRegistrar::registerTasks(r);
        return r;
    }();
    return registry;
}

}  // namespace test
}  // namespace tessel
