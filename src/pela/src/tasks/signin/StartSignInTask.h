#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "startSignIn": starts sign-in; the framework then asks for what it needs through login events.
class StartSignInTask : public CommandTask {
public:
    StartSignInTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
