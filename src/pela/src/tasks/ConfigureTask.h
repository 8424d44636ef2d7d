#pragma once

#include "TaskImpl.h"

namespace tessel {

// "configure": hands the shared-memory channel names to the framework.
class ConfigureTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
