#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "joinCalls": merges two calls into one local conference.
class JoinCallTask : public CommandTask {
public:
    JoinCallTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
