#include "tasks/calls/AnswerTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/AnswerTask";

AnswerTask::AnswerTask() : CommandTask(Identity(kSrc, "AnswerTask").testsRequest()) {}

int AnswerTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t callId = 0;
    std::string videoDirection = "Inactive";
    uint64_t windowhandle = 0;
    params.callId("callId", true, callId)
        .text("videoDirection", false, videoDirection)
        .windowHandle("windowhandle", false, windowhandle);
    if (int code = params.finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc,
              "AnswerTask: callId=[" << callId << "] videoDirection=[" << videoDirection << "] windowhandle=["
                                     << windowhandle << "]");
    return zep().answer(callId, videoDirection, windowhandle);
}

}  // namespace tessel
