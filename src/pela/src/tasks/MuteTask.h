#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "mute": mutes the microphone and/or the camera of a call.
class MuteTask : public CallTaskBase {
public:
    MuteTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
