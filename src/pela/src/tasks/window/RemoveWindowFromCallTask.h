#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "removeWindowFromCall": takes a call's video window away.
class RemoveWindowFromCallTask : public CommandTask {
public:
    RemoveWindowFromCallTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
