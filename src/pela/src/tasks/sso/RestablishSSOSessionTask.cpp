#include "tasks/sso/RestablishSSOSessionTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/RestablishSSOSessionTask";

RestablishSSOSessionTask::RestablishSSOSessionTask()
    : CommandTask(Identity(kSrc, "RestablishSSOSessionTask").content(Content::Empty)) {}

int RestablishSSOSessionTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return zep().restablishSSOSession();
}

}  // namespace tessel
