#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "showUserAuthorization": answers at once; the decision arrives as "userauthorized".
class ShowUserAuthorizationTask : public CommandTask {
public:
    ShowUserAuthorizationTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
