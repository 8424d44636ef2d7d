#pragma once

#include "TaskImpl.h"

namespace tessel {

// "switchMode": validates the connect parameters only; the mode switch itself is not done here.
class SwitchModeTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
