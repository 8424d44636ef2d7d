#include "tasks/window/SetExternalWindowShowControlsTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetExternalWindowShowControlsTask";

SetExternalWindowShowControlsTask::SetExternalWindowShowControlsTask()
    : CommandTask(Identity(kSrc, "SetExternalWindowShowControlsTask")) {}

int SetExternalWindowShowControlsTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    bool value = false;
    if (int code = params.flag("showControls", true, value).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetExternalWindowShowControlsTask: showControls=" << (value ? "true" : "false"));
    return zep().setExternalWindowShowControls(value);
}

}  // namespace tessel
