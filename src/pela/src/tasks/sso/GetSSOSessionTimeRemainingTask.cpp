#include "tasks/sso/GetSSOSessionTimeRemainingTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/JSONHack.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetSSOSessionTimeRemainingTask";

GetSSOSessionTimeRemainingTask::GetSSOSessionTimeRemainingTask()
    : CommandTask(Identity(kSrc, "GetSSOSessionTimeRemainingTask")
                      .content(Content::Empty)
                      .noFramework(ApiReturnCodeEnum::eSyntaxError)) {}

int GetSSOSessionTimeRemainingTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int64_t time = 0;
    const int code = zep().getSSOSessionTimeRemaining(time);
    if (code == ApiReturnCodeEnum::eNoError) {
        spReplyContent = std::make_shared<Ptree>();
        spReplyContent->push_back(Ptree::value_type("time", Ptree(JSONHack::getLongLong(time))));
    }
    return code;
}

}  // namespace tessel
