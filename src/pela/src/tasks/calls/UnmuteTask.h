#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "unmute": undoes "mute" for the microphone and/or the camera.
class UnmuteTask : public CommandTask {
public:
    UnmuteTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
