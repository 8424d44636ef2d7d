#include "SetUserProfileCredentialsTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"
#include "TaskParamUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetUserProfileCredentialsTask";

void SetUserProfileCredentialsTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "SetUserProfileCredentialsTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (!spMessage) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED SetUserProfileCredentialsTask::execute, no spSDKClientMessage. Ignore client message.");
        return;
    }
    std::shared_ptr<IZepWCmdClient> spCmdcli = spContext->getZepCmdcli();
    if (!spCmdcli) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing Cmdcli");
        return;
    }
    ZepWrapperAPI* pZepW = spCmdcli->getZepWrapper();
    if (pZepW == nullptr) {
        PELA_LOG4(log, kSrc, "UNEXPECTED SetUserProfileCredentialsTask::execute no pZepW");
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
    uint32_t authenticator = 0;
    std::string username;
    std::string password;
    int result = ApiReturnCodeEnum::eNoError;
    if (PtreeUtil::containsDuplicateKey(params, log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeUInt("authenticator", params, true, authenticator, log);
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeString("username", params, true, username, log);
    }
    if (result == ApiReturnCodeEnum::eNoError) {
        result = TaskParamUtil::removeString("password", params, true, password, log);
    }
    if (result == ApiReturnCodeEnum::eNoError && !PtreeUtil::checkPtreeIsEmpty(params, log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, result);
        return;
    }

    // No parameter line: the password must never reach the log.
    result = pZepW->setUserProfileCredentials(authenticator, username, password);
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, result);
        return;
    }
    TaskImplUtil::replySuccess(spContext);
}

}  // namespace tessel
