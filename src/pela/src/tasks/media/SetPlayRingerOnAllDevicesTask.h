#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setPlayRingerOnAllDevices": not offered on this platform.
class SetPlayRingerOnAllDevicesTask : public CommandTask {
public:
    SetPlayRingerOnAllDevicesTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
