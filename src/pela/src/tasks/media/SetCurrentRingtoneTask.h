#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setCurrentRingtone": not offered on this platform.
class SetCurrentRingtoneTask : public CommandTask {
public:
    SetCurrentRingtoneTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
