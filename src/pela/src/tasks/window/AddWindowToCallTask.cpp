#include "tasks/window/AddWindowToCallTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/AddWindowToCallTask";

AddWindowToCallTask::AddWindowToCallTask()
    : CommandTask(Identity(kSrc, "AddWindowToCallTask").content(Content::Filled)) {}

int AddWindowToCallTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "AddWindowToCallTask: callId=", &ZepWrapperAPI::addWindowToCall);
}

}  // namespace tessel
