#include "tasks/session/InitTask.h"

#include <unistd.h>

#include <string>

#include "bridge/IZepWCmdClient.h"
#include "clients/AuthStatus.h"
#include "clients/ClientManager.h"
#include "dispatch/TaskImplUtil.h"
#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/JSONHack.h"
#include "platform/linux/LinuxMain.h"
#include "tasks/session/GetVersionTask.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/InitTask";

InitTask::InitTask()
    // The request's content is deliberately not read: older pages send options here.
    : CommandTask(Identity(kSrc, "InitTask").withoutFramework().content(Content::Ignored)) {}

int InitTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    const std::shared_ptr<ITaskContext>& spContext = context();
    std::shared_ptr<ClientManager> spClientManager = spContext->getClientManager();
    if (!spClientManager) {
        PELA_LOG4(log(), kSrc,
                  "UNEXPECTED InitTask::execute context contains no ClientManager. Unable to process request.");
        return ApiReturnCodeEnum::eSyntaxError;
    }
    std::shared_ptr<ChannelClient> spChannelClient = spContext->getChannelClient();
    if (!spChannelClient) {
        PELA_LOG4(log(), kSrc,
                  "UNEXPECTED InitTask::execute context contains no ChannelClient. Unable to process request.");
        return ApiReturnCodeEnum::eSyntaxError;
    }
    std::shared_ptr<IZepWCmdClient> spZepCmdcli = spContext->getZepCmdcli();
    if (!spZepCmdcli) {
        PELA_LOG4(log(), kSrc,
                  "UNEXPECTED InitTask::execute context contains no ZepCmdcli. Unable to process request.");
        return kNoReply;
    }

    auto spContent = std::make_shared<Ptree>();
    GetVersionTask::putVersion(*spContent);
    spContent->put("instanceId", std::to_string(static_cast<long>(getpid())));

    // A page on a whitelisted site gets the framework without any dialog.
    AuthStatus status = spClientManager->getClientAuthStatus(spChannelClient);
    if (status == UserAuthorized && !spZepCmdcli->isZepWrapperStarted()) {
        PELA_LOG4(log(), kSrc, "Domain whitelisted - Starting Zep");
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
    // Docking puts our window over the browser's: it needs a display, and not a Wayland session.
    spContent->put("capabilities.externalWindowDocking",
                   JSONHack::getBool(isRunByChrome && LinuxMain::hasScreenCoordinates()));
    spContent->put("capabilities.showingDockingTarget", JSONHack::getBool(!isWin32Platform));
    spContent->put("capabilities.ringtoneSelection", JSONHack::getBool(isWin32Platform));
    spContent->put("capabilities.ringOnAllDevices", JSONHack::getBool(isWin32Platform));

    spReplyContent = spContent;
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
