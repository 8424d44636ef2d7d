#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "completeTransfer": joins the held party and the consulted party and drops out.
class CompleteTransferTask : public CommandTask {
public:
    CompleteTransferTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
