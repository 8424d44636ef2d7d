#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "init": versions, instance id, authorization status and capabilities; starts the
// framework for a page whose site is already whitelisted.
class InitTask : public CommandTask {
public:
    InitTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
