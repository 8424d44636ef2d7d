#include "InitTask.h"

#include <unistd.h>

#include <string>

#include "ApiReturnCode.h"
#include "AuthStatus.h"
#include "ClientManager.h"
#include "GetVersionTask.h"
#include "IZepWCmdClient.h"
#include "JSONHack.h"
#include "LogMacros.h"
#include "TaskImplUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/InitTask";

void InitTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "InitTask::execute");

    // The request's content is deliberately not checked: older pages send options here.
    std::shared_ptr<ClientManager> spClientManager = spContext->getClientManager();
    if (!spClientManager) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED InitTask::execute context contains no ClientManager. Unable to process request.");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    std::shared_ptr<ChannelClient> spChannelClient = spContext->getChannelClient();
    if (!spChannelClient) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED InitTask::execute context contains no ChannelClient. Unable to process request.");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    std::shared_ptr<IZepWCmdClient> spZepCmdcli = spContext->getZepCmdcli();
    if (!spZepCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED InitTask::execute context contains no ZepCmdcli. Unable to process request.");
        return;
    }

    auto spContent = std::make_shared<Ptree>();
    GetVersionTask::putVersion(*spContent);
    spContent->put("instanceId", std::to_string(static_cast<long>(getpid())));

    // A page on a whitelisted site gets the framework without any dialog.
    AuthStatus status = spClientManager->getClientAuthStatus(spChannelClient);
    if (status == UserAuthorized && !spZepCmdcli->isZepWrapperStarted()) {
        PELA_LOG4(log, kSrc, "Domain whitelisted - Starting Zep");
        spZepCmdcli->startZepWrapper();
    }
    spContent->put("userauthstatus", authStatusToString(status));

    const bool isRunByChrome = spContext->getIsRunByChrome();
    const bool isWin32Platform = spContext->getIsWin32Platform();
    spContent->put("capabilities.video", JSONHack::getBool(true));
    spContent->put("capabilities.multireg", JSONHack::getBool(true));
    spContent->put("capabilities.delayedUserAuth", JSONHack::getBool(true));
    spContent->put("capabilities.certValidation", JSONHack::getBool(true));
    spContent->put("capabilities.videoPluginObject", JSONHack::getBool(!isRunByChrome));
    spContent->put("capabilities.externalWindowDocking", JSONHack::getBool(isRunByChrome));
    spContent->put("capabilities.showingDockingTarget", JSONHack::getBool(!isWin32Platform));
    spContent->put("capabilities.ringtoneSelection", JSONHack::getBool(isWin32Platform));
    spContent->put("capabilities.ringOnAllDevices", JSONHack::getBool(isWin32Platform));

    TaskImplUtil::replySuccess(spContext, spContent);
}

}  // namespace tessel
