#include "CancelTransferTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/CancelTransferTask";

CancelTransferTask::CancelTransferTask()
    : CallTaskBase(
          {kSrc, "CancelTransferTask", "CancelTransfer::execute", false, ApiReturnCodeEnum::eSyntaxError, true}) {}

int CancelTransferTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    // Same parameter line as completeTransfer: log readers already key on it.
    return performOnCallId(params, "ZepW CompleteTransferCall: callId=", &ZepWrapperAPI::cancelTransfer, zep);
}

}  // namespace tessel
