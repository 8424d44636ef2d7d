#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "undockExternalWindow": frees the external window from the page.
class UndockExternalWindowTask : public CommandTask {
public:
    UndockExternalWindowTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
