#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "completeTransfer": joins the held party and the consulted party and drops out.
class CompleteTransferTask : public CallTaskBase {
public:
    CompleteTransferTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
