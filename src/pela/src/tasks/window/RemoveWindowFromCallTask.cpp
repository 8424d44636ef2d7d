#include "tasks/window/RemoveWindowFromCallTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/RemoveWindowFromCallTask";

RemoveWindowFromCallTask::RemoveWindowFromCallTask()
    : CommandTask(Identity(kSrc, "RemoveWindowFromCallTask").content(Content::Filled)) {}

int RemoveWindowFromCallTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return performOnCallId(params, "RemoveWindowFromCallTask: callId=", &ZepWrapperAPI::removeWindowFromCall);
}

}  // namespace tessel
