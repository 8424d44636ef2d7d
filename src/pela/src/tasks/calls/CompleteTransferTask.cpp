#include "tasks/calls/CompleteTransferTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/CompleteTransferTask";

CompleteTransferTask::CompleteTransferTask()
    : CommandTask(Identity(kSrc, "CompleteTransferTask")
                      .entryLine("CompleteTransfer::execute")
                      .noFramework(ApiReturnCodeEnum::eSyntaxError)) {}

int CompleteTransferTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "ZepW CompleteTransferCall: callId=", &ZepWrapperAPI::completeTransferCall);
}

}  // namespace tessel
