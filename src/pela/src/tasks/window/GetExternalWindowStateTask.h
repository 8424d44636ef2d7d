#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getExternalWindowState": asks for the window's state, which comes as an event.
class GetExternalWindowStateTask : public CommandTask {
public:
    GetExternalWindowStateTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
