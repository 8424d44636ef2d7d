#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setUserProfileCredentials": the answer to the credentials prompt. Never logs its parameters.
class SetUserProfileCredentialsTask : public CommandTask {
public:
    SetUserProfileCredentialsTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
