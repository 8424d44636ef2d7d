#include "tasks/window/HideExternalWindowTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/HideExternalWindowTask";

HideExternalWindowTask::HideExternalWindowTask()
    : CommandTask(Identity(kSrc, "HideExternalWindowTask").content(Content::EmptyOrAbsent)) {}

int HideExternalWindowTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // The page follows the window through its "externalwindowevent" events;
    // this reply only acknowledges the request, whatever the framework says.
    zep().hideExternalWindow();
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
