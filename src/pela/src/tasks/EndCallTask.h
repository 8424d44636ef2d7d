#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "endCall": ends a call in any state (hangs up, cancels or declines).
class EndCallTask : public CallTaskBase {
public:
    EndCallTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
