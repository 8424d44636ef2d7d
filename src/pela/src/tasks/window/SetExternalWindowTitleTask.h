#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setExternalWindowTitle": the external window's title.
class SetExternalWindowTitleTask : public CommandTask {
public:
    SetExternalWindowTitleTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
