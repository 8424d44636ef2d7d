#include "tasks/session/ShowUserAuthorizationTask.h"

#include "bridge/IZepWCmdClient.h"
#include "clients/AuthStatus.h"
#include "clients/ClientManager.h"
#include "dispatch/TaskImplUtil.h"
#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/ChannelClient.h"
#include "messages/EventNames.h"
#include "messages/JSONHack.h"
#include "messages/PtreeUtil.h"
#include "messages/SDKClientMessage.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ShowUserAuthorizationTask";

namespace {

void sendUserAuthorized(const std::shared_ptr<ITaskContext>& spContext, const std::string& clientId, bool authorized) {
    auto spContent = std::make_shared<Ptree>(JSONHack::getBool(authorized));
    TaskImplUtil::sendEvent(clientId, events::kUserAuthorized, spContent, spContext->getTaskDoneSink(),
                            spContext->getLog());
}

}  // namespace

ShowUserAuthorizationTask::ShowUserAuthorizationTask()
    : CommandTask(Identity(kSrc, "ShowUserAuthorizationTask").withoutFramework().content(Content::EmptyOrAbsent)) {}

int ShowUserAuthorizationTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    const std::shared_ptr<ITaskContext>& spContext = context();
    std::shared_ptr<ChannelClient> spChannelClient = spContext->getChannelClient();
    if (!spChannelClient) {
        PELA_LOG4(log(), kSrc, "UNEXPECTED ShowUserAuthorizationTask::execute no spChannelClient");
        return ApiReturnCodeEnum::eSyntaxError;
    }
    std::shared_ptr<ClientManager> spClientManager = spContext->getClientManager();
    if (!spClientManager) {
        PELA_LOG4(log(), kSrc, "UNEXPECTED ShowUserAuthorizationTask::execute no spClientManager");
        return ApiReturnCodeEnum::eSyntaxError;
    }
    std::shared_ptr<IZepWCmdClient> spZepCmdcli = spContext->getZepCmdcli();
    if (!spZepCmdcli) {
        PELA_LOG4(log(), kSrc, "UNEXPECTED ShowUserAuthorizationTask::execute no spZepCmdcli");
        return kNoReply;
    }

    AuthStatus status = spClientManager->getClientAuthStatus(spChannelClient);
    PELA_LOG4(log(), kSrc, "Client authorization status = " << authStatusToString(status));
    switch (status) {
        case UserAuthorized:
            if (!spZepCmdcli->isZepWrapperStarted()) {
                PELA_LOG4(log(), kSrc, "Starting Zep");
                spZepCmdcli->startZepWrapper();
            }
            sendUserAuthorized(spContext, spChannelClient->getId(), true);
            break;
        case UserDenied:
            sendUserAuthorized(spContext, spChannelClient->getId(), false);
            break;
        case MustShowAuth:
            // The answer comes later, as an AuthorizationTask.
            spClientManager->showUserAuthorization(spChannelClient);
            break;
        case UserAuthPending:
            break;
    }
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
