#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "showCallInExternalWindow": shows a call's video in the external window.
class ShowCallInExternalWindowTask : public CommandTask {
public:
    ShowCallInExternalWindowTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
