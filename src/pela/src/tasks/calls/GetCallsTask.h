#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getCalls": the call objects of every call the framework knows.
class GetCallsTask : public CommandTask {
public:
    GetCallsTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
