#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "mute": mutes the microphone and/or the camera of a call.
class MuteTask : public CommandTask {
public:
    MuteTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
