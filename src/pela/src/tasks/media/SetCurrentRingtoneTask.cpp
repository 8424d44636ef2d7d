#include "tasks/media/SetCurrentRingtoneTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "dispatch/ITaskContext.h"
#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetCurrentRingtoneTask";

SetCurrentRingtoneTask::SetCurrentRingtoneTask()
    : CommandTask(Identity(kSrc, "SetCurrentRingtoneTask").content(Content::Ignored)) {}

int SetCurrentRingtoneTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // Ringtones are chosen on the other desktop platform only; here the
    // command is refused with the log line support staff know.
    if (!context()->getIsWin32Platform()) {
        PELA_LOG4(log(), kSrc, "SetCurrentRingtoneTask: Ringtone choosing is not supported on Mac platforms");
    }
    return ApiReturnCodeEnum::eOperationFailed;
}

}  // namespace tessel
