#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setVideoDirection": changes whether a call sends and/or receives video.
class SetVideoDirectionTask : public CommandTask {
public:
    SetVideoDirectionTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
