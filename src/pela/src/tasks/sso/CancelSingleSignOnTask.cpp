#include "tasks/sso/CancelSingleSignOnTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/CancelSingleSignOnTask";

CancelSingleSignOnTask::CancelSingleSignOnTask()
    : CommandTask(Identity(kSrc, "CancelSingleSignOnTask").content(Content::Empty)) {}

int CancelSingleSignOnTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return zep().cancelSingleSignOn();
}

}  // namespace tessel
