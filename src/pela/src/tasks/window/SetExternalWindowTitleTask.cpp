#include "tasks/window/SetExternalWindowTitleTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetExternalWindowTitleTask";

SetExternalWindowTitleTask::SetExternalWindowTitleTask() : CommandTask(Identity(kSrc, "SetExternalWindowTitleTask")) {}

int SetExternalWindowTitleTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string title;
    if (int code = params.text("title", true, title).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetExternalWindowTitleTask: title=" << title);
    return zep().setExternalWindowTitle(title);
}

}  // namespace tessel
