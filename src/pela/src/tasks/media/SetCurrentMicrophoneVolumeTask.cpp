#include "tasks/media/SetCurrentMicrophoneVolumeTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetCurrentMicrophoneVolumeTask";

SetCurrentMicrophoneVolumeTask::SetCurrentMicrophoneVolumeTask()
    : CommandTask(Identity(kSrc, "SetCurrentMicrophoneVolumeTask").noFramework(ApiReturnCodeEnum::eSyntaxError)) {}

int SetCurrentMicrophoneVolumeTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t volume = 0;
    if (int code = params.integer("volume", true, volume).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetCurrentMicrophoneVolumeTask: volume=" << volume);
    return zep().setCurrentMicrophoneVolume(volume);
}

}  // namespace tessel
