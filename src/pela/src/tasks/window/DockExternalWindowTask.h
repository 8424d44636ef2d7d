#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "dockExternalWindow": lays the external window over the page, cropped.
class DockExternalWindowTask : public CommandTask {
public:
    DockExternalWindowTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
