#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getSSOSessionTimeRemaining": the provider session's remaining lifetime, in seconds.
class GetSSOSessionTimeRemainingTask : public CommandTask {
public:
    GetSSOSessionTimeRemainingTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
