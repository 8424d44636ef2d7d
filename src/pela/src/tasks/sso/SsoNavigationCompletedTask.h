#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "ssoNavigationCompleted": the page's sign-in window reached an address: the provider's answer.
class SsoNavigationCompletedTask : public CommandTask {
public:
    SsoNavigationCompletedTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
