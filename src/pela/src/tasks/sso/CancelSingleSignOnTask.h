#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "cancelSingleSignOn": ends a sign-in through the provider that is under way.
class CancelSingleSignOnTask : public CommandTask {
public:
    CancelSingleSignOnTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
