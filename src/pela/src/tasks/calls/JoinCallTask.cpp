#include "tasks/calls/JoinCallTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/JoinCallTask";

JoinCallTask::JoinCallTask() : CommandTask(Identity(kSrc, "JoinCallTask")) {}

int JoinCallTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    int32_t joinCallId = 0;
    if (int code = params.callId("callId", true, callId).callId("joinCallId", true, joinCallId).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "JoinCallsTask: callId=" << callId << ", transferCallId=" << joinCallId);
    return zep().joinCalls(callId, joinCallId);
}

}  // namespace tessel
