#include "tasks/media/SetRecordingDeviceTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetRecordingDeviceTask";

SetRecordingDeviceTask::SetRecordingDeviceTask() : CommandTask(Identity(kSrc, "SetRecordingDeviceTask")) {}

int SetRecordingDeviceTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // Absent, the identifier is empty: the system's default device.
    std::string id;
    if (int code = params.text("clientRecordingID", false, id).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "TLB SetRecordingDevice: clientRecordingID=" << id);
    return zep().setRecordingDevice(id);
}

}  // namespace tessel
