#include "tasks/media/SetCurrentRingerVolumeTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetCurrentRingerVolumeTask";

SetCurrentRingerVolumeTask::SetCurrentRingerVolumeTask()
    : CommandTask(Identity(kSrc, "SetCurrentRingerVolumeTask").noFramework(ApiReturnCodeEnum::eSyntaxError)) {}

int SetCurrentRingerVolumeTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t volume = 0;
    if (int code = params.integer("volume", true, volume).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetCurrentRingerVolumeTask: volume=" << volume);
    return zep().setCurrentRingerVolume(volume);
}

}  // namespace tessel
