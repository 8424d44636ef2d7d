#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setCurrentMicrophoneVolume": the microphone volume, on the framework's scale.
class SetCurrentMicrophoneVolumeTask : public CommandTask {
public:
    SetCurrentMicrophoneVolumeTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
