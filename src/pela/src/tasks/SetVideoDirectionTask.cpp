#include "SetVideoDirectionTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetVideoDirectionTask";

SetVideoDirectionTask::SetVideoDirectionTask()
    : CallTaskBase({kSrc, "SetVideoDirectionTask", "SetVideoDirectionTask::execute", false,
                    ApiReturnCodeEnum::eOperationFailed, true}) {}

int SetVideoDirectionTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    std::string direction = "Inactive";
    if (int code = params.callId("callId", true, callId).text("videoDirection", false, direction).finish()) {
        return code;
    }
    // The direction word is the framework's vocabulary; it judges it.
    PELA_LOG4(params.log(), kSrc, "SetVideoDirectionTask: callId=" << callId << ", direction=" << direction);
    int code = zep.setVideoDirection(callId, direction);
    if (code != ApiReturnCodeEnum::eNoError) {
        PELA_LOG4(params.log(), kSrc, "SetVideoDirectionTask::execute: Failed to set video direction in ZepW");
    }
    return code;
}

}  // namespace tessel
