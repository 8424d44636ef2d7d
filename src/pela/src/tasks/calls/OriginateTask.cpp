#include "tasks/calls/OriginateTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/JSONHack.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/OriginateTask";

OriginateTask::OriginateTask() : CommandTask(Identity(kSrc, "OriginateTask").testsRequest()) {}

int OriginateTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string recipient;
    std::string videoDirection = "Inactive";
    uint64_t windowhandle = 0;
    params.text("recipient", true, recipient)
        .text("videoDirection", false, videoDirection)
        .windowHandle("windowhandle", false, windowhandle);
    if (int code = params.finish()) {
        return code;
    }
    PELA_LOG4(log(), kSrc,
              "OriginateTask: recipient=[" << recipient << "] videoDirection=[" << videoDirection << "] windowhandle=["
                                           << windowhandle << "]");
    // An id no call can have, so a framework that succeeds without setting it shows.
    int callId = -100;
    int code = zep().originate(recipient, callId, videoDirection, windowhandle);
    if (code == ApiReturnCodeEnum::eNoError) {
        spReplyContent = std::make_shared<Ptree>();
        spReplyContent->put("callId", JSONHack::getInt(callId));
    }
    return code;
}

}  // namespace tessel
