#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "addWindowToCall": gives a call a video window.
class AddWindowToCallTask : public CommandTask {
public:
    AddWindowToCallTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
