#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "hideExternalWindow": hides the external window (also its own hide button).
class HideExternalWindowTask : public CommandTask {
public:
    HideExternalWindowTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
