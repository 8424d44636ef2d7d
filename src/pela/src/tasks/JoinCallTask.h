#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "joinCalls": merges two calls into one local conference.
class JoinCallTask : public CallTaskBase {
public:
    JoinCallTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
