#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setCurrentRingerVolume": the ringer volume, on the framework's scale.
class SetCurrentRingerVolumeTask : public CommandTask {
public:
    SetCurrentRingerVolumeTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
