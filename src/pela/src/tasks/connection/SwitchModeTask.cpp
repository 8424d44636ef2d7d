#include "tasks/connection/SwitchModeTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "tasks/connection/ConnectTask.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SwitchModeTask";

SwitchModeTask::SwitchModeTask() : CommandTask(Identity(kSrc, "SwitchModeTask").testsRequest()) {}

int SwitchModeTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    ConnectParameters connect;
    if (int code = connect.read(params)) {
        return code;
    }
    PELA_LOG4(log(), kSrc, connect.logLine("SwitchModeTask"));
    // Validation only: the framework is not asked to change mode.
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
