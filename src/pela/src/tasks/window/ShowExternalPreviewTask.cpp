#include "tasks/window/ShowExternalPreviewTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ShowExternalPreviewTask";

ShowExternalPreviewTask::ShowExternalPreviewTask()
    : CommandTask(Identity(kSrc, "ShowExternalPreviewTask").content(Content::EmptyOrAbsent)) {}

int ShowExternalPreviewTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // The page follows the window through its "externalwindowevent" events;
    // this reply only acknowledges the request, whatever the framework says.
    zep().showPreviewInExternalWindow();
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
