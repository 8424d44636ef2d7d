#include "tasks/signin/ResetDataTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ResetDataTask";

ResetDataTask::ResetDataTask() : CommandTask(Identity(kSrc, "ResetDataTask").content(Content::Empty)) {}

int ResetDataTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return zep().resetData();
}

}  // namespace tessel
