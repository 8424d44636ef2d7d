#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "logout": ends the framework's connection.
class LogoutTask : public CommandTask {
public:
    LogoutTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
