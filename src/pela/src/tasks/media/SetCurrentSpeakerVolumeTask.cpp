#include "tasks/media/SetCurrentSpeakerVolumeTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetCurrentSpeakerVolumeTask";

SetCurrentSpeakerVolumeTask::SetCurrentSpeakerVolumeTask()
    : CommandTask(Identity(kSrc, "SetCurrentSpeakerVolumeTask").noFramework(ApiReturnCodeEnum::eSyntaxError)) {}

int SetCurrentSpeakerVolumeTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t volume = 0;
    if (int code = params.integer("volume", true, volume).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetCurrentSpeakerVolumeTask: volume=" << volume);
    return zep().setCurrentSpeakerVolume(volume);
}

}  // namespace tessel
