#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getMultimediaDeviceVolume": one device's volume.
class GetMultimediaDeviceVolumeTask : public CommandTask {
public:
    GetMultimediaDeviceVolumeTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
