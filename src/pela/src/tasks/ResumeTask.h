#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "resume": takes a held call off hold.
class ResumeTask : public CallTaskBase {
public:
    ResumeTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
