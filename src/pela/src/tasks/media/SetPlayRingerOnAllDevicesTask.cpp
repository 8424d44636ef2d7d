#include "tasks/media/SetPlayRingerOnAllDevicesTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "dispatch/ITaskContext.h"
#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetPlayRingerOnAllDevicesTask";

SetPlayRingerOnAllDevicesTask::SetPlayRingerOnAllDevicesTask()
    : CommandTask(Identity(kSrc, "SetPlayRingerOnAllDevicesTask").content(Content::Ignored)) {}

int SetPlayRingerOnAllDevicesTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // Ringtones are chosen on the other desktop platform only; here the
    // command is refused with the log line support staff know.
    if (!context()->getIsWin32Platform()) {
        PELA_LOG4(
            log(), kSrc,
            "SetPlayRingerOnAllDevicesTask: Play ringer on All devices feature is not supported on Mac platforms");
    }
    return ApiReturnCodeEnum::eOperationFailed;
}

}  // namespace tessel
