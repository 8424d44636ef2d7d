#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "transferCall": starts an attended transfer: holds the call and consults the target.
class TransferCallTask : public CommandTask {
public:
    TransferCallTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
