#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getAvailableDevices": the devices the account can drive.
class GetAvailableDevicesTask : public CommandTask {
public:
    GetAvailableDevicesTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
