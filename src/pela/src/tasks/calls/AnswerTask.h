#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "answer": answers a ringing incoming call.
class AnswerTask : public CommandTask {
public:
    AnswerTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
