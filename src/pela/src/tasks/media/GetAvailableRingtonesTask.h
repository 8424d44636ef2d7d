#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getAvailableRingtones": not offered on this platform.
class GetAvailableRingtonesTask : public CommandTask {
public:
    GetAvailableRingtonesTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
