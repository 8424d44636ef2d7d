#include "EncryptPboxPasswordTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/EncryptPboxPasswordTask";

void EncryptPboxPasswordTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "EncryptPboxPasswordTask::execute");

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
        PELA_LOG4(log, kSrc, "UNEXPECTED EncryptPboxPasswordTask::execute no pZepW");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eOperationFailed);
        return;
    }
    std::shared_ptr<Ptree> spContent = spMessage ? spMessage->getContent() : std::shared_ptr<Ptree>();
    if (!spContent) {
        PELA_LOG4(log, kSrc, "UNEXPECTED missing content");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
        return;
    }
    std::string password;
    if (!PtreeUtil::ptreeToString(*spContent, password, log)) {
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
        return;
    }
    std::string encrypted;
    // A failed encryption is an empty result, not an error.
    if (pZepW->encryptPboxPassword(password, encrypted) != ApiReturnCodeEnum::eNoError) {
        encrypted.clear();
    }
    TaskImplUtil::replySuccess(spContext, std::make_shared<Ptree>(encrypted));
}

}  // namespace tessel
