#include "dispatch/AuthorizationTask.h"

#include <string>

#include "bridge/IZepWCmdClient.h"
#include "dispatch/TaskImplUtil.h"
#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/EventNames.h"
#include "messages/JSONHack.h"
#include "messages/PtreeUtil.h"
#include "messages/SDKClientMessage.h"
#include "messages/TaskParamUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/AuthorizationTask";

void AuthorizationTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "AuthorizationTask::execute");

    std::shared_ptr<IZepWCmdClient> spZepCmdcli = spContext->getZepCmdcli();
    if (!spZepCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing Cmdcli");
        return;
    }
    std::shared_ptr<ITaskSink> spTaskDoneSink = spContext->getTaskDoneSink();
    if (!spTaskDoneSink) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing task done sink");
        return;
    }
    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    std::shared_ptr<Ptree> spContent = spMessage ? spMessage->getContent() : nullptr;
    if (!spContent) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing content");
        return;
    }

    Ptree params = *spContent;
    if (PtreeUtil::containsDuplicateKey(params, log)) {
        return;
    }
    std::string clientId;
    bool authorized = false;
    if (TaskParamUtil::removeString("clientId", params, true, clientId, log) != ApiReturnCodeEnum::eNoError) {
        return;
    }
    if (TaskParamUtil::removeBool("authorized", params, true, authorized, log) != ApiReturnCodeEnum::eNoError) {
        return;
    }
    if (!PtreeUtil::checkPtreeIsEmpty(params, log)) {
        return;
    }

    if (authorized && !spZepCmdcli->isZepWrapperStarted()) {
        PELA_LOG4(log, kSrc, "Starting Zep");
        spZepCmdcli->startZepWrapper();
    }
    auto spEventContent = std::make_shared<Ptree>(JSONHack::getBool(authorized));
    TaskImplUtil::sendEvent(clientId, events::kUserAuthorized, spEventContent, spTaskDoneSink, log);
}

}  // namespace tessel
