#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "resetData": forgets the signed-in user's stored data.
class ResetDataTask : public CommandTask {
public:
    ResetDataTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
