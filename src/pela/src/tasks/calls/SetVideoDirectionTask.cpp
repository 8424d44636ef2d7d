#include "tasks/calls/SetVideoDirectionTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetVideoDirectionTask";

SetVideoDirectionTask::SetVideoDirectionTask() : CommandTask(Identity(kSrc, "SetVideoDirectionTask")) {}

int SetVideoDirectionTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    std::string direction = "Inactive";
    if (int code = params.callId("callId", true, callId).text("videoDirection", false, direction).finish()) {
        return code;
    }
    // The direction word is the framework's vocabulary; it judges it.
    PELA_LOG4(log(), kSrc, "SetVideoDirectionTask: callId=" << callId << ", direction=" << direction);
    int code = zep().setVideoDirection(callId, direction);
    if (code != ApiReturnCodeEnum::eNoError) {
        PELA_LOG4(log(), kSrc, "SetVideoDirectionTask::execute: Failed to set video direction in ZepW");
    }
    return code;
}

}  // namespace tessel
