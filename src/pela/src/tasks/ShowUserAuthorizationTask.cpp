#include "ShowUserAuthorizationTask.h"

#include "ApiReturnCode.h"
#include "AuthStatus.h"
#include "ChannelClient.h"
#include "ClientManager.h"
#include "IZepWCmdClient.h"
#include "JSONHack.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ShowUserAuthorizationTask";

namespace {

void sendUserAuthorized(const std::shared_ptr<ITaskContext>& spContext, const std::string& clientId, bool authorized) {
    auto spContent = std::make_shared<Ptree>(JSONHack::getBool(authorized));
    TaskImplUtil::sendEvent(clientId, "userauthorized", spContent, spContext->getTaskDoneSink(), spContext->getLog());
}

}  // namespace

void ShowUserAuthorizationTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "ShowUserAuthorizationTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (spMessage && !PtreeUtil::ptreeIsEmpty(spMessage->getContent())) {
        PELA_LOG4(log, kSrc, "Syntax error: no input content should be specified");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    std::shared_ptr<ChannelClient> spChannelClient = spContext->getChannelClient();
    if (!spChannelClient) {
        PELA_LOG4(log, kSrc, "UNEXPECTED ShowUserAuthorizationTask::execute no spChannelClient");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    std::shared_ptr<ClientManager> spClientManager = spContext->getClientManager();
    if (!spClientManager) {
        PELA_LOG4(log, kSrc, "UNEXPECTED ShowUserAuthorizationTask::execute no spClientManager");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    std::shared_ptr<IZepWCmdClient> spZepCmdcli = spContext->getZepCmdcli();
    if (!spZepCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED ShowUserAuthorizationTask::execute no spZepCmdcli");
        return;
    }

    AuthStatus status = spClientManager->getClientAuthStatus(spChannelClient);
    PELA_LOG4(log, kSrc, "Client authorization status = " << authStatusToString(status));
    switch (status) {
        case UserAuthorized:
            if (!spZepCmdcli->isZepWrapperStarted()) {
                PELA_LOG4(log, kSrc, "Starting Zep");
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
    TaskImplUtil::replySuccess(spContext);
}

}  // namespace tessel
