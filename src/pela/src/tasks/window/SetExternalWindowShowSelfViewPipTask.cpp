#include "tasks/window/SetExternalWindowShowSelfViewPipTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetExternalWindowShowSelfViewPipTask";

SetExternalWindowShowSelfViewPipTask::SetExternalWindowShowSelfViewPipTask()
    : CommandTask(Identity(kSrc, "SetExternalWindowShowSelfViewPipTask")) {}

int SetExternalWindowShowSelfViewPipTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    bool value = false;
    if (int code = params.flag("showSelfViewPip", true, value).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetExternalWindowShowSelfViewPipTask: showSelfViewPip=" << (value ? "true" : "false"));
    return zep().setExternalWindowShowSelfViewPip(value);
}

}  // namespace tessel
