#include "tasks/session/GetUserAuthStatusTask.h"

#include "clients/AuthStatus.h"
#include "clients/ClientManager.h"
#include "dispatch/TaskImplUtil.h"
#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/PtreeUtil.h"
#include "messages/SDKClientMessage.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetUserAuthStatusTask";

GetUserAuthStatusTask::GetUserAuthStatusTask()
    : CommandTask(Identity(kSrc, "GetUserAuthStatusTask").withoutFramework().content(Content::EmptyOrAbsent)) {}

int GetUserAuthStatusTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    const std::shared_ptr<ITaskContext>& spContext = context();
    std::shared_ptr<ChannelClient> spChannelClient = spContext->getChannelClient();
    if (!spChannelClient) {
        PELA_LOG4(log(), kSrc, "UNEXPECTED GetUserAuthStatusTask::execute no spChannelClient");
        return ApiReturnCodeEnum::eSyntaxError;
    }
    std::shared_ptr<ClientManager> spClientManager = spContext->getClientManager();
    if (!spClientManager) {
        PELA_LOG4(log(), kSrc, "UNEXPECTED GetUserAuthStatusTask::execute no spClientManager");
        return ApiReturnCodeEnum::eSyntaxError;
    }

    AuthStatus status = spClientManager->getClientAuthStatus(spChannelClient);
    auto spContent = std::make_shared<Ptree>(authStatusToString(status));
    spReplyContent = spContent;
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
