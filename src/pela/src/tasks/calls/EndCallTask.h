#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "endCall": ends a call in any state (hangs up, cancels or declines).
class EndCallTask : public CommandTask {
public:
    EndCallTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
