#include "CompleteTransferTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/CompleteTransferTask";

CompleteTransferTask::CompleteTransferTask()
    : CallTaskBase(
          {kSrc, "CompleteTransferTask", "CompleteTransfer::execute", false, ApiReturnCodeEnum::eSyntaxError, true}) {}

int CompleteTransferTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "ZepW CompleteTransferCall: callId=", &ZepWrapperAPI::completeTransferCall, zep);
}

}  // namespace tessel
