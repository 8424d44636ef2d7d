#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "configure": hands the shared-memory channel names to the framework.
class ConfigureTask : public CommandTask {
public:
    ConfigureTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
