#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "hold": puts a connected call on hold.
class HoldTask : public CallTaskBase {
public:
    HoldTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
