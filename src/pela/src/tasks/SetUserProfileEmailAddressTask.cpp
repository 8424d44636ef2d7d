#include "SetUserProfileEmailAddressTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"
#include "TaskParamUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetUserProfileEmailAddressTask";

void SetUserProfileEmailAddressTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "SetUserProfileEmailAddressTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (!spMessage) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED SetUserProfileEmailAddressTask::execute, no spSDKClientMessage. Ignore client message.");
        return;
    }
    std::shared_ptr<IZepWCmdClient> spCmdcli = spContext->getZepCmdcli();
    if (!spCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing Cmdcli");
        return;
    }
    ZepWrapperAPI* pZepW = spCmdcli->getZepWrapper();
    if (pZepW == nullptr) {
        PELA_LOG4(log, kSrc, "UNEXPECTED SetUserProfileEmailAddressTask::execute no pZepW");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eOperationFailed);
        return;
    }
    std::shared_ptr<Ptree> spContent = spMessage ? spMessage->getContent() : std::shared_ptr<Ptree>();
    if (!spContent) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing content");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
        return;
    }

    Ptree params = *spContent;
    std::string email;
    int result = ApiReturnCodeEnum::eNoError;
    if (PtreeUtil::containsDuplicateKey(params, log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeString("email", params, true, email, log);
    }
    if (result == ApiReturnCodeEnum::eNoError && !PtreeUtil::checkPtreeIsEmpty(params, log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, result);
        return;
    }

    result = pZepW->setUserProfileEmailAddress(email);
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, result);
        return;
    }
    TaskImplUtil::replySuccess(spContext);
}

}  // namespace tessel
