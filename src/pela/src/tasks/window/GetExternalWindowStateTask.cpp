#include "tasks/window/GetExternalWindowStateTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetExternalWindowStateTask";

GetExternalWindowStateTask::GetExternalWindowStateTask()
    : CommandTask(Identity(kSrc, "GetExternalWindowStateTask").content(Content::EmptyOrAbsent)) {}

int GetExternalWindowStateTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // The state itself comes as the "externalwindowevent" event; the reply
    // only acknowledges the request, whatever the framework says.
    zep().getExternalWindowState();
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
