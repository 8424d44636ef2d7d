#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "sendDTMF": sends one keypad tone on a call.
class SendDTMFTask : public CommandTask {
public:
    SendDTMFTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
