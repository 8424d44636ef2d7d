#include "tasks/signin/StartSignInTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/StartSignInTask";

StartSignInTask::StartSignInTask()
    : CommandTask(Identity(kSrc, "StartSignInTask").testsRequest().noFramework(ApiReturnCodeEnum::eSyntaxError)) {}

int StartSignInTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    bool manualSettings = false;
    if (int code = params.flag("manualSettings", false, manualSettings).finish()) {
        return code;
    }
    // The framework's own reason for refusing is not the page's concern here.
    if (zep().startSignIn(manualSettings) != ApiReturnCodeEnum::eNoError) {
        return ApiReturnCodeEnum::eSyntaxError;
    }
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
