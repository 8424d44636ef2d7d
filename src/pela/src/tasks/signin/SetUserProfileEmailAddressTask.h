#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setUserProfileEmailAddress": the answer to the e-mail prompt.
class SetUserProfileEmailAddressTask : public CommandTask {
public:
    SetUserProfileEmailAddressTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
