#include "JoinCallTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/JoinCallTask";

JoinCallTask::JoinCallTask()
    : CallTaskBase({kSrc, "JoinCallTask", "JoinCallTask::execute", false, ApiReturnCodeEnum::eOperationFailed, true}) {}

int JoinCallTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    int32_t joinCallId = 0;
    if (int code = params.callId("callId", true, callId).callId("joinCallId", true, joinCallId).finish()) {
        return code;
    }
    PELA_LOG4(params.log(), kSrc, "JoinCallsTask: callId=" << callId << ", transferCallId=" << joinCallId);
    return zep.joinCalls(callId, joinCallId);
}

}  // namespace tessel
