#include "AnswerTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/AnswerTask";

AnswerTask::AnswerTask()
    : CallTaskBase({kSrc, "AnswerTask", "AnswerTask::execute", true, ApiReturnCodeEnum::eOperationFailed, true}) {}

int AnswerTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    std::string videoDirection = "Inactive";
    uint64_t windowhandle = 0;
    params.callId("callId", true, callId)
        .text("videoDirection", false, videoDirection)
        .windowhandle("windowhandle", false, windowhandle);
    if (int code = params.finish()) {
        return code;
    }
    PELA_LOG4(params.log(), kSrc,
              "AnswerTask: callId=[" << callId << "] videoDirection=[" << videoDirection << "] windowhandle=["
                                     << windowhandle << "]");
    return zep.answer(callId, videoDirection, windowhandle);
}

}  // namespace tessel
