#include "SetPropertyTask.h"

#include <vector>

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetPropertyTask";

bool SetPropertyTask::supportedProperty(const std::string& name) {
    return name == "CtiAddressList" || name == "TftpAddressList" || name == "LoryAddressList";
}

void SetPropertyTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "SetPropertyTask::execute");

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
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
        PELA_LOG4(log, kSrc, "Content for property is empty");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }

    // Members are applied as they come; a request with two valid members has
    // both applied before it is refused.
    int applied = 0;
    for (const Ptree::value_type& member : *spContent) {
        PELA_LOG4(log, kSrc, "prop name: " << member.first);
        PELA_LOG4(log, kSrc, "prop value: " << member.second.data());
        if (!supportedProperty(member.first)) {
            PELA_LOG4(log, kSrc, "Specified property is not supported");
            TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
            return;
        }
        std::vector<std::string> addresses;
        if (!PtreeUtil::ptreeToStringVector(member.second, addresses, log)) {
            PELA_LOG4(log, kSrc, "The Property list is malformed");
            TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
            return;
        }
        if (member.first == "CtiAddressList") {
            pZepW->setCtiAddressList(addresses);
        } else if (member.first == "TftpAddressList") {
            pZepW->setTftpAddressList(addresses);
        } else {
            pZepW->setLoryAddressList(addresses);
        }
        ++applied;
    }
    if (applied != 1) {
        PELA_LOG4(log, kSrc, "Content property is not correct");
        TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }
    TaskImplUtil::replySuccess(spContext, std::make_shared<Ptree>(*spContent));
}

}  // namespace tessel
