#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "encryptPboxPassword": a server password encrypted by the framework; a failure gives an empty result, not an error.
class EncryptPboxPasswordTask : public CommandTask {
public:
    EncryptPboxPasswordTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
