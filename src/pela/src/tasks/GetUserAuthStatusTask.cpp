#include "GetUserAuthStatusTask.h"

#include "ApiReturnCode.h"
#include "AuthStatus.h"
#include "ClientManager.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetUserAuthStatusTask";

void GetUserAuthStatusTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "GetUserAuthStatusTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (spMessage && !PtreeUtil::ptreeIsEmpty(spMessage->getContent())) {
        PELA_LOG4(log, kSrc, "Syntax error: no input content should be specified");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    std::shared_ptr<ChannelClient> spChannelClient = spContext->getChannelClient();
    if (!spChannelClient) {
        PELA_LOG4(log, kSrc, "UNEXPECTED GetUserAuthStatusTask::execute no spChannelClient");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    std::shared_ptr<ClientManager> spClientManager = spContext->getClientManager();
    if (!spClientManager) {
        PELA_LOG4(log, kSrc, "UNEXPECTED GetUserAuthStatusTask::execute no spClientManager");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }

    AuthStatus status = spClientManager->getClientAuthStatus(spChannelClient);
    auto spContent = std::make_shared<Ptree>(authStatusToString(status));
    TaskImplUtil::replySuccess(spContext, spContent);
}

}  // namespace tessel
