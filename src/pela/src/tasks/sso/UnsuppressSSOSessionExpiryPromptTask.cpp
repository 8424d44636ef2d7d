#include "tasks/sso/UnsuppressSSOSessionExpiryPromptTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/UnsuppressSSOSessionExpiryPromptTask";

UnsuppressSSOSessionExpiryPromptTask::UnsuppressSSOSessionExpiryPromptTask()
    : CommandTask(Identity(kSrc, "UnsuppressSSOSessionExpiryPromptTask")) {}

int UnsuppressSSOSessionExpiryPromptTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    bool promptIfExpired = false;
    params.flag("promptIfExpired", true, promptIfExpired);
    if (int code = params.finish()) {
        return code;
    }
    return zep().unsuppressSSOSessionExpiryPrompt(promptIfExpired);
}

}  // namespace tessel
