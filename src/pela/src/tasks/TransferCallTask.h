#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "transferCall": starts an attended transfer: holds the call and consults the target.
class TransferCallTask : public CallTaskBase {
public:
    TransferCallTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
