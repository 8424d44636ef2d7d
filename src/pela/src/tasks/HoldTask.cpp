#include "HoldTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/HoldTask";

HoldTask::HoldTask()
    : CallTaskBase({kSrc, "HoldTask", "HoldTask::execute", false, ApiReturnCodeEnum::eOperationFailed, true}) {}

int HoldTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "HoldTask: callId=", &ZepWrapperAPI::hold, zep);
}

}  // namespace tessel
