#include "tasks/calls/SendDTMFTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SendDTMFTask";

namespace {

// The keys of a telephone keypad, the four column keys in both cases, and "+".
const char* const kDigits[] = {"1", "2", "3", "4", "5", "6", "7", "8", "9", "0", "a",
                               "A", "b", "B", "c", "C", "d", "D", "*", "#", "+"};

bool isDigit(const std::string& digit) {
    for (const char* valid : kDigits) {
        if (digit == valid) {
            return true;
        }
    }
    return false;
}

}  // namespace

SendDTMFTask::SendDTMFTask() : CommandTask(Identity(kSrc, "SendDTMFTask")) {}

int SendDTMFTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    std::string digit;
    if (int code = params.callId("callId", true, callId).text("digit", true, digit).finish()) {
        return code;
    }
    if (!isDigit(digit)) {
        PELA_LOG4(log(), kSrc, "sendDTMF: invalid digit=" << digit);
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    PELA_LOG4(log(), kSrc, "SendDTMFTask: callId=" << callId << ", digit=" << digit);
    return zep().sendDTMF(callId, digit);
}

}  // namespace tessel
