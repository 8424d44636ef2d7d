#include "EndCallTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/EndCallTask";

EndCallTask::EndCallTask()
    : CallTaskBase({kSrc, "EndCallTask", "EndCallTask::execute", false, ApiReturnCodeEnum::eOperationFailed, true}) {}

int EndCallTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "EndCallTask: callId=", &ZepWrapperAPI::endCall, zep);
}

}  // namespace tessel
