#include "dispatch/StopTask.h"

#include "bridge/IZepWCmdClient.h"
#include "logging/LogMacros.h"
#include "messages/PtreeUtil.h"
#include "messages/SDKClientMessage.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/StopTask";

void StopTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "StopTask::execute");

    std::shared_ptr<IZepWCmdClient> spZepCmdcli = spContext->getZepCmdcli();
    if (!spZepCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing Cmdcli");
        return;
    }
    // Internal task: there is no page to answer, so a bad content is only logged.
    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (spMessage && !PtreeUtil::ptreeIsEmpty(spMessage->getContent())) {
        PELA_LOG4(log, kSrc, "Syntax error: no input content should be specified");
        return;
    }

    if (spZepCmdcli->isZepWrapperStarted()) {
        PELA_LOG4(log, kSrc, "Stopping Zep");
        spZepCmdcli->stopZepWrapper();
    }
}

}  // namespace tessel
