#include "UnmuteTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/UnmuteTask";

UnmuteTask::UnmuteTask()
    : CallTaskBase({kSrc, "UnmuteTask", "UnmuteTask::execute", false, ApiReturnCodeEnum::eOperationFailed, true}) {}

int UnmuteTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    bool audio = false;
    bool video = false;
    if (int code = params.callId("callId", true, callId)
                       .flag("unmuteAudio", false, audio)
                       .flag("unmuteVideo", false, video)
                       .finish()) {
        return code;
    }
    PELA_LOG4(params.log(), kSrc, "UnmuteTask: callId=" << callId);
    return zep.unmute(callId, audio, video);
}

}  // namespace tessel
