#include "MuteTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/MuteTask";

MuteTask::MuteTask()
    : CallTaskBase({kSrc, "MuteTask", "MuteTask::execute", false, ApiReturnCodeEnum::eOperationFailed, true}) {}

int MuteTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    bool audio = false;
    bool video = false;
    if (int code = params.callId("callId", true, callId)
                       .flag("muteAudio", false, audio)
                       .flag("muteVideo", false, video)
                       .finish()) {
        return code;
    }
    PELA_LOG4(params.log(), kSrc, "MuteTask: callId=" << callId);
    return zep.mute(callId, audio, video);
}

}  // namespace tessel
