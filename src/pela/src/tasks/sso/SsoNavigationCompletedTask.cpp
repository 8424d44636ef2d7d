#include "tasks/sso/SsoNavigationCompletedTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SsoNavigationCompletedTask";

SsoNavigationCompletedTask::SsoNavigationCompletedTask()
    : CommandTask(Identity(kSrc, "SsoNavigationCompletedTask").testsRequest()) {}

int SsoNavigationCompletedTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int64_t result = 0;
    std::string url;
    std::string document;
    params.longInteger("result", true, result).text("url", true, url).text("document", true, document);
    if (int code = params.finish()) {
        return code;
    }
    // No parameter line: the address carries the one-time code.
    return zep().ssoNavigationCompleted(result, url, document);
}

}  // namespace tessel
