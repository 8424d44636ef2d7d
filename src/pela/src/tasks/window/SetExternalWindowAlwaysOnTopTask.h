#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setExternalWindowAlwaysOnTop": keeps the external window above others or not.
class SetExternalWindowAlwaysOnTopTask : public CommandTask {
public:
    SetExternalWindowAlwaysOnTopTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
