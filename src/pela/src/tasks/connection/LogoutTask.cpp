#include "tasks/connection/LogoutTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/LogoutTask";

LogoutTask::LogoutTask() : CommandTask(Identity(kSrc, "LogoutTask").content(Content::EmptyOrAbsent)) {}

int LogoutTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // Nothing the page could do about a failed logout; it learns the state from events.
    zep().logout();
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
