#pragma once

#include "TaskImpl.h"

namespace tessel {

// "getAvailableDevices": the devices the account can drive.
class GetAvailableDevicesTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
