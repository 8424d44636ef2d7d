#pragma once

#include "TaskImpl.h"

namespace tessel {

// "connect": connects the framework to a device and line.
class ConnectTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
