#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "dockUpdate": follows the page as it moves or resizes; replies only on failure.
class DockUpdateTask : public CommandTask {
public:
    DockUpdateTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
