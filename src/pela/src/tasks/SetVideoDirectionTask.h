#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "setVideoDirection": changes whether a call sends and/or receives video.
class SetVideoDirectionTask : public CallTaskBase {
public:
    SetVideoDirectionTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
