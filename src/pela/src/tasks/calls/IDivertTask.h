#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "iDivert": sends a ringing incoming call on without answering it.
class IDivertTask : public CommandTask {
public:
    IDivertTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
