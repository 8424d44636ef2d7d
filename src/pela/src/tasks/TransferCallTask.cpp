#include "TransferCallTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/TransferCallTask";

TransferCallTask::TransferCallTask()
    : CallTaskBase(
          {kSrc, "TransferCallTask", "TransferCallTask::execute", false, ApiReturnCodeEnum::eOperationFailed, true}) {}

int TransferCallTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    std::string number;
    if (int code = params.callId("callId", true, callId).text("transferToNumber", true, number).finish()) {
        return code;
    }
    PELA_LOG4(params.log(), kSrc, "TransferCallTask: callId=" << callId << ", transferNumber=" << number);
    return zep.transferCall(callId, number);
}

}  // namespace tessel
