#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "sendDTMF": sends one keypad tone on a call.
class SendDTMFTask : public CallTaskBase {
public:
    SendDTMFTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
