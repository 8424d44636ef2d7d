#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "originate": places a call to a number or SIP address; replies with the new call id.
class OriginateTask : public CallTaskBase {
public:
    OriginateTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
