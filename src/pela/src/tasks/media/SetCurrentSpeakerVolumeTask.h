#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setCurrentSpeakerVolume": the speaker volume, on the framework's scale.
class SetCurrentSpeakerVolumeTask : public CommandTask {
public:
    SetCurrentSpeakerVolumeTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
