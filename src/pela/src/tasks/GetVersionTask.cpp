#include "GetVersionTask.h"

#include "ApiReturnCode.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetVersionTask";

void GetVersionTask::putVersion(Ptree& content) {
    content.put("version.plugin", "4.0.0.577");
    content.put("version.plugin_revision", "217040");
    content.put("version.system_release", "Norva Voice System Release 11.0 EAP1");
}

void GetVersionTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "GetVersionTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (spMessage && !PtreeUtil::ptreeIsEmpty(spMessage->getContent())) {
        PELA_LOG4(log, kSrc, "Syntax error: no input content should be specified");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }

    auto spContent = std::make_shared<Ptree>();
    putVersion(*spContent);
    TaskImplUtil::replySuccess(spContext, spContent);
}

}  // namespace tessel
