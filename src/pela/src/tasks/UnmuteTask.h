#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "unmute": undoes "mute" for the microphone and/or the camera.
class UnmuteTask : public CallTaskBase {
public:
    UnmuteTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
