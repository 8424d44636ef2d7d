#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "originate": places a call to a number or SIP address; replies with the new call id.
class OriginateTask : public CommandTask {
public:
    OriginateTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
