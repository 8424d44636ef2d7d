#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setExternalWindowShowControls": shows or hides the window's call buttons.
class SetExternalWindowShowControlsTask : public CommandTask {
public:
    SetExternalWindowShowControlsTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
