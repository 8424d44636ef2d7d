#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "resume": takes a held call off hold.
class ResumeTask : public CommandTask {
public:
    ResumeTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
