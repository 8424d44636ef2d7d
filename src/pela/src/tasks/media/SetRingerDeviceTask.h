#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setRingerDevice": chooses the ringer device by its client identifier.
class SetRingerDeviceTask : public CommandTask {
public:
    SetRingerDeviceTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
