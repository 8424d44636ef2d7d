#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "iDivert": sends a ringing incoming call on without answering it.
class IDivertTask : public CallTaskBase {
public:
    IDivertTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
