#include "tasks/calls/EndCallTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/EndCallTask";

EndCallTask::EndCallTask() : CommandTask(Identity(kSrc, "EndCallTask")) {}

int EndCallTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "EndCallTask: callId=", &ZepWrapperAPI::endCall);
}

}  // namespace tessel
