#include "tasks/window/SetExternalWindowAlwaysOnTopTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetExternalWindowAlwaysOnTopTask";

SetExternalWindowAlwaysOnTopTask::SetExternalWindowAlwaysOnTopTask()
    : CommandTask(Identity(kSrc, "SetExternalWindowAlwaysOnTopTask")) {}

int SetExternalWindowAlwaysOnTopTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    bool value = false;
    if (int code = params.flag("alwaysOnTop", true, value).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetExternalWindowAlwaysOnTopTask: alwaysOnTop=" << (value ? "true" : "false"));
    return zep().setExternalWindowAlwaysOnTop(value);
}

}  // namespace tessel
