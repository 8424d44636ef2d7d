#include "tasks/media/SetCaptureDeviceTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetCaptureDeviceTask";

SetCaptureDeviceTask::SetCaptureDeviceTask() : CommandTask(Identity(kSrc, "SetCaptureDeviceTask")) {}

int SetCaptureDeviceTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // Absent, the identifier is empty: the system's default device.
    std::string id;
    if (int code = params.text("clientCaptureID", false, id).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetCaptureDeviceTask: clientCaptureID=" << id);
    return zep().setCaptureDevice(id);
}

}  // namespace tessel
