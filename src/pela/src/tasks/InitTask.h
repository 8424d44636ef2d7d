#pragma once

#include "TaskImpl.h"

namespace tessel {

// "init": versions, instance id, authorization status and capabilities; starts the
// framework for a page whose site is already whitelisted.
class InitTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
