#include "StartSignInTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"
#include "TaskParamUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/StartSignInTask";

void StartSignInTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "StartSignInTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (!spMessage) {
        PELA_LOG4(log, kSrc, "UNEXPECTED StartSignInTask::execute, no spSDKClientMessage. Ignore client message.");
        return;
    }
    std::shared_ptr<IZepWCmdClient> spCmdcli = spContext->getZepCmdcli();
    if (!spCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing Cmdcli");
        return;
    }
    ZepWrapperAPI* pZepW = spCmdcli->getZepWrapper();
    if (pZepW == nullptr) {
        PELA_LOG4(log, kSrc, "UNEXPECTED StartSignInTask::execute no pZepW");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    std::shared_ptr<Ptree> spContent = spMessage ? spMessage->getContent() : std::shared_ptr<Ptree>();
    if (!spContent) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing content");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
        return;
    }

    Ptree params = *spContent;
    bool manualSettings = false;
    int result = ApiReturnCodeEnum::eNoError;
    if (PtreeUtil::containsDuplicateKey(params, log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeBool("manualSettings", params, false, manualSettings, log);
    }
    if (result == ApiReturnCodeEnum::eNoError && !PtreeUtil::checkPtreeIsEmpty(params, log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, result);
        return;
    }

    // The framework's own reason for refusing is not the page's concern here.
    if (pZepW->startSignIn(manualSettings) != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    TaskImplUtil::replySuccess(spContext);
}

}  // namespace tessel
