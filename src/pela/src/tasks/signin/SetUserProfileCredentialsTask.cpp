#include "tasks/signin/SetUserProfileCredentialsTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetUserProfileCredentialsTask";

SetUserProfileCredentialsTask::SetUserProfileCredentialsTask()
    : CommandTask(Identity(kSrc, "SetUserProfileCredentialsTask").testsRequest()) {}

int SetUserProfileCredentialsTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    uint32_t authenticator = 0;
    std::string username;
    std::string password;
    params.unsignedInteger("authenticator", true, authenticator)
        .text("username", true, username)
        .text("password", true, password);
    if (int code = params.finish()) {
        return code;
    }
    // No parameter line: the password must never reach the log.
    return zep().setUserProfileCredentials(authenticator, username, password);
}

}  // namespace tessel
