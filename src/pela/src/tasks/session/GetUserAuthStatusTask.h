#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getUserAuthStatus": the status text of the requesting client.
class GetUserAuthStatusTask : public CommandTask {
public:
    GetUserAuthStatusTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
