#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setPlayoutDevice": chooses the playout device by its client identifier.
class SetPlayoutDeviceTask : public CommandTask {
public:
    SetPlayoutDeviceTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
