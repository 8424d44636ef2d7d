#include "GetAvailableDevicesTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"
#include "ZepPhoneInfoPtree.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetAvailableDevicesTask";

void GetAvailableDevicesTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "GetAvailableDevicesTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (!spMessage) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED GetAvailableDevicesTask::execute, no spSDKClientMessage. Ignore client message.");
        return;
    }
    std::shared_ptr<IZepWCmdClient> spCmdcli = spContext->getZepCmdcli();
    if (!spCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing Cmdcli");
        return;
    }
    ZepWrapperAPI* pZepW = spCmdcli->getZepWrapper();
    if (pZepW == nullptr) {
        PELA_LOG4(log, kSrc, "UNEXPECTED GetAvailableDevicesTask::execute no pZepW");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eOperationFailed);
        return;
    }
    std::shared_ptr<Ptree> spContent = spMessage ? spMessage->getContent() : std::shared_ptr<Ptree>();
    if (!PtreeUtil::ptreeIsEmpty(spContent)) {
        PELA_LOG4(log, kSrc, "Syntax error: no input content should be specified");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    ZepWrapperAPI::PhoneList spDevices;
    pZepW->getAvailableDevices(spDevices);
    auto spReply = std::make_shared<Ptree>();
    spReply->add_child("devices", ZepPhoneInfoPtree::vectorToPtree(spDevices));
    TaskImplUtil::replySuccess(spContext, spReply);
}

}  // namespace tessel
