#include "tasks/calls/HoldTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/HoldTask";

HoldTask::HoldTask() : CommandTask(Identity(kSrc, "HoldTask")) {}

int HoldTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "HoldTask: callId=", &ZepWrapperAPI::hold);
}

}  // namespace tessel
