#include "tasks/sso/SuppressSSOSessionExpiryPromptTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SuppressSSOSessionExpiryPromptTask";

SuppressSSOSessionExpiryPromptTask::SuppressSSOSessionExpiryPromptTask()
    : CommandTask(Identity(kSrc, "SuppressSSOSessionExpiryPromptTask").content(Content::Empty)) {}

int SuppressSSOSessionExpiryPromptTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return zep().suppressSSOSessionExpiryPrompt();
}

}  // namespace tessel
