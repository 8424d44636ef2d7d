#include "IDivertTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/IDivertTask";

IDivertTask::IDivertTask()
    : CallTaskBase({kSrc, "IDivertTask", "IDivertTask::execute", false, ApiReturnCodeEnum::eOperationFailed, true}) {}

int IDivertTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "iDivertTask: callId=", &ZepWrapperAPI::iDivert, zep);
}

}  // namespace tessel
