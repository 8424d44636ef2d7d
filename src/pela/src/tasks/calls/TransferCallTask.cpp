#include "tasks/calls/TransferCallTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/TransferCallTask";

TransferCallTask::TransferCallTask() : CommandTask(Identity(kSrc, "TransferCallTask")) {}

int TransferCallTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    std::string number;
    if (int code = params.callId("callId", true, callId).text("transferToNumber", true, number).finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc, "TransferCallTask: callId=" << callId << ", transferNumber=" << number);
    return zep().transferCall(callId, number);
}

}  // namespace tessel
