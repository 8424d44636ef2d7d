#include "tasks/session/GetVersionTask.h"

#include "dispatch/TaskImplUtil.h"
#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/PtreeUtil.h"
#include "messages/SDKClientMessage.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetVersionTask";

void GetVersionTask::putVersion(Ptree& content) {
    content.put("version.plugin", "4.0.0.577");
    content.put("version.plugin_revision", "217040");
    content.put("version.system_release", "Norva Voice System Release 11.0 EAP1");
}

GetVersionTask::GetVersionTask()
    : CommandTask(Identity(kSrc, "GetVersionTask").withoutFramework().content(Content::EmptyOrAbsent)) {}

int GetVersionTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    spReplyContent = std::make_shared<Ptree>();
    putVersion(*spReplyContent);
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
