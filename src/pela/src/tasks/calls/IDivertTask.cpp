#include "tasks/calls/IDivertTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/IDivertTask";

IDivertTask::IDivertTask() : CommandTask(Identity(kSrc, "IDivertTask")) {}

int IDivertTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "iDivertTask: callId=", &ZepWrapperAPI::iDivert);
}

}  // namespace tessel
