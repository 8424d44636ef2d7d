#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "restablishSSOSession": signs the same address in at its provider again.
class RestablishSSOSessionTask : public CommandTask {
public:
    RestablishSSOSessionTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
