#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "cancelTransfer": ends the consultation call and resumes the held call.
class CancelTransferTask : public CallTaskBase {
public:
    CancelTransferTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
