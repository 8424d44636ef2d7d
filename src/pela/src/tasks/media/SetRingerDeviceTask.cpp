#include "tasks/media/SetRingerDeviceTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetRingerDeviceTask";

SetRingerDeviceTask::SetRingerDeviceTask()
    : CommandTask(Identity(kSrc, "SetRingerDeviceTask").noFramework(ApiReturnCodeEnum::eSyntaxError)) {}

int SetRingerDeviceTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // Absent, the identifier is empty: the system's default device.
    std::string id;
    if (int code = params.text("clientRingerID", false, id).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "TLB SetRingerDevice: clientRingerID=" << id);
    return zep().setRingerDevice(id);
}

}  // namespace tessel
