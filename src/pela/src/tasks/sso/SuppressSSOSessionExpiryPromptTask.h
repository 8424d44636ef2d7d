#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "suppressSSOSessionExpiryPrompt": no prompt when the provider session ends.
class SuppressSSOSessionExpiryPromptTask : public CommandTask {
public:
    SuppressSSOSessionExpiryPromptTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
