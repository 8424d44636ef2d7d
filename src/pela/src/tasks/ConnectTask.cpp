#include "ConnectTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"
#include "TaskParamUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ConnectTask";

void ConnectTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "ConnectTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (!spMessage) {
        PELA_LOG4(log, kSrc, "UNEXPECTED ConnectTask::execute, no spSDKClientMessage. Ignore client message.");
        return;
    }
    std::shared_ptr<IZepWCmdClient> spCmdcli = spContext->getZepCmdcli();
    if (!spCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing Cmdcli");
        return;
    }
    ZepWrapperAPI* pZepW = spCmdcli->getZepWrapper();
    if (pZepW == nullptr) {
        PELA_LOG4(log, kSrc, "UNEXPECTED ConnectTask::execute no pZepW");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eOperationFailed);
        return;
    }
    std::shared_ptr<Ptree> spContent = spMessage->getContent();
    if (!spContent) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing content");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
        return;
    }

    Ptree params = *spContent;
    std::string deviceName;
    std::string lineDN;
    std::string mode = "SoftPhone";
    bool forceRegistration = false;
    int result = ApiReturnCodeEnum::eNoError;
    if (PtreeUtil::containsDuplicateKey(params, log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeString("deviceName", params, true, deviceName, log);
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeString("lineDN", params, false, lineDN, log);
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeString("phoneMode", params, false, mode, log);
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeBool("forceRegistration", params, false, forceRegistration, log);
    }
    if (result == ApiReturnCodeEnum::eNoError && !PtreeUtil::checkPtreeIsEmpty(params, log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, result);
        return;
    }

    PELA_LOG4(log, kSrc,
              "ConnectTask: mode = [" << mode << "] deviceName=[" << deviceName << " linedn=[" << lineDN
                                      << " forceRegistration=" << forceRegistration);
    result = pZepW->connect(deviceName, lineDN, forceRegistration);
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, result);
        return;
    }
    TaskImplUtil::replySuccess(spContext);
}

}  // namespace tessel
