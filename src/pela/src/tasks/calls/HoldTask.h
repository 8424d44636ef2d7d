#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "hold": puts a connected call on hold.
class HoldTask : public CommandTask {
public:
    HoldTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
