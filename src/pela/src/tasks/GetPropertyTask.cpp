#include "GetPropertyTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"
#include "ZepDeviceAndPhoneInfoPtree.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetPropertyTask";

void GetPropertyTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "GetPropertyTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (!spMessage) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED EncryptPboxPasswordTask::execute, no spSDKClientMessage. Ignore client message.");
        return;
    }
    std::shared_ptr<IZepWCmdClient> spCmdcli = spContext->getZepCmdcli();
    if (!spCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing Cmdcli");
        return;
    }
    ZepWrapperAPI* pZepW = spCmdcli->getZepWrapper();
    if (pZepW == nullptr) {
        PELA_LOG4(log, kSrc, "UNEXPECTED SetPropertyTask::execute no pZepW");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eOperationFailed);
        return;
    }
    std::shared_ptr<Ptree> spContent = spMessage ? spMessage->getContent() : std::shared_ptr<Ptree>();
    if (!spContent) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing content");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
        return;
    }
    std::string name;
    if (!PtreeUtil::ptreeToString(*spContent, name, log)) {
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
        return;
    }
    auto spReply = std::make_shared<Ptree>();
    if (name == "connectionStatus") {
        std::string status;
        pZepW->getConnectionStatus(status);
        spReply->put(name, status);
    } else if (name == "mode") {
        std::string mode;
        pZepW->getMode(mode);
        spReply->put(name, mode);
    } else if (name == "device") {
        spReply->add_child(name, ZepDeviceAndPhoneInfoPtree::toPtree(pZepW));
    } else if (name == "line") {
        spReply->add_child(name, ZepDeviceAndPhoneInfoPtree::fromLineInfo(pZepW));
    } else {
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
        return;
    }
    TaskImplUtil::replySuccess(spContext, spReply);
}

}  // namespace tessel
