#include "tasks/calls/CancelTransferTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/CancelTransferTask";

CancelTransferTask::CancelTransferTask()
    : CommandTask(Identity(kSrc, "CancelTransferTask")
                      .entryLine("CancelTransfer::execute")
                      .noFramework(ApiReturnCodeEnum::eSyntaxError)) {}

int CancelTransferTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    // Same parameter line as completeTransfer: log readers already key on it.
    return performOnCallId(params, "ZepW CompleteTransferCall: callId=", &ZepWrapperAPI::cancelTransfer);
}

}  // namespace tessel
