#pragma once

#include "CallTaskBase.h"

namespace tessel {

// "getCalls": the call objects of every call the framework knows.
class GetCallsTask : public CallTaskBase {
public:
    GetCallsTask();

protected:
    int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
