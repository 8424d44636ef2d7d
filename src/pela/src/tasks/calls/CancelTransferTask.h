#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "cancelTransfer": ends the consultation call and resumes the held call.
class CancelTransferTask : public CommandTask {
public:
    CancelTransferTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
