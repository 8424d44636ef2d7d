#include "tasks/media/SetPlayoutDeviceTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetPlayoutDeviceTask";

SetPlayoutDeviceTask::SetPlayoutDeviceTask() : CommandTask(Identity(kSrc, "SetPlayoutDeviceTask")) {}

int SetPlayoutDeviceTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // Absent, the identifier is empty: the system's default device.
    std::string id;
    if (int code = params.text("clientPlayoutID", false, id).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "SetPlayoutDeviceTask: clientPlayoutID=" << id);
    return zep().setPlayoutDevice(id);
}

}  // namespace tessel
