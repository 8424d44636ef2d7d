#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "getProperty": one connection property by name.
class GetPropertyTask : public CommandTask {
public:
    GetPropertyTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
