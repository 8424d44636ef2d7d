#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "unsuppressSSOSessionExpiryPrompt": prompts again when the provider session ends; at once when it has ended and
// promptIfExpired.
class UnsuppressSSOSessionExpiryPromptTask : public CommandTask {
public:
    UnsuppressSSOSessionExpiryPromptTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
