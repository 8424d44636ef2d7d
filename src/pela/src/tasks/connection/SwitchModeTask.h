#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "switchMode": validates the connect parameters only; the mode switch itself is not done here.
class SwitchModeTask : public CommandTask {
public:
    SwitchModeTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
