#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getMultimediaDevices": every microphone, speaker, camera and ringer.
class GetMultimediaDevicesTask : public CommandTask {
public:
    GetMultimediaDevicesTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
