#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "answer": answers a ringing incoming call.
class AnswerTask : public CallTaskBase {
public:
    AnswerTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
