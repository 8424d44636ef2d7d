#include "tasks/calls/MuteTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/MuteTask";

MuteTask::MuteTask() : CommandTask(Identity(kSrc, "MuteTask")) {}

int MuteTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    bool audio = false;
    bool video = false;
    if (int code = params.callId("callId", true, callId)
                       .flag("muteAudio", false, audio)
                       .flag("muteVideo", false, video)
                       .finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "MuteTask: callId=" << callId);
    return zep().mute(callId, audio, video);
}

}  // namespace tessel
