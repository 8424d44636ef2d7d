#include "tasks/calls/UnmuteTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/UnmuteTask";

UnmuteTask::UnmuteTask() : CommandTask(Identity(kSrc, "UnmuteTask")) {}

int UnmuteTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    bool audio = false;
    bool video = false;
    if (int code = params.callId("callId", true, callId)
                       .flag("unmuteAudio", false, audio)
                       .flag("unmuteVideo", false, video)
                       .finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "UnmuteTask: callId=" << callId);
    return zep().unmute(callId, audio, video);
}

}  // namespace tessel
