#include "ResumeTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ResumeTask";

ResumeTask::ResumeTask()
    : CallTaskBase({kSrc, "ResumeTask", "ResumeTask::execute", false, ApiReturnCodeEnum::eOperationFailed, true}) {}

int ResumeTask::perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "ResumeTask: callId=", &ZepWrapperAPI::resume, zep);
}

}  // namespace tessel
