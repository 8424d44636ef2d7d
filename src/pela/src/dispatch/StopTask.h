#pragma once

#include "dispatch/TaskImpl.h"

namespace tessel {

// Queued by the client registry when no authorized client is left.
class StopTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
