#include "tasks/window/ShowCallInExternalWindowTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ShowCallInExternalWindowTask";

ShowCallInExternalWindowTask::ShowCallInExternalWindowTask()
    : CommandTask(Identity(kSrc, "ShowCallInExternalWindowTask")) {}

int ShowCallInExternalWindowTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "ShowCallInExternalWindowTask: callId=", &ZepWrapperAPI::showCallInExternalWindow);
}

}  // namespace tessel
