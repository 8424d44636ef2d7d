#include "tasks/signin/SetUserProfileEmailAddressTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetUserProfileEmailAddressTask";

SetUserProfileEmailAddressTask::SetUserProfileEmailAddressTask()
    : CommandTask(Identity(kSrc, "SetUserProfileEmailAddressTask").testsRequest()) {}

int SetUserProfileEmailAddressTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string email;
    if (int code = params.text("email", true, email).finish()) {
        return code;
    }
    return zep().setUserProfileEmailAddress(email);
}

}  // namespace tessel
