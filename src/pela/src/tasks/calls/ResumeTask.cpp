#include "tasks/calls/ResumeTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ResumeTask";

ResumeTask::ResumeTask() : CommandTask(Identity(kSrc, "ResumeTask")) {}

int ResumeTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "ResumeTask: callId=", &ZepWrapperAPI::resume);
}

}  // namespace tessel
