#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setExternalWindowShowSelfViewPip": the own camera as a picture in picture.
class SetExternalWindowShowSelfViewPipTask : public CommandTask {
public:
    SetExternalWindowShowSelfViewPipTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
