#include "messages/SDKClientMessagePtree.h"

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/PtreeUtil.h"
#include "messages/TaskParamUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/SDKClientMessagePtree";

bool SDKClientMessagePtree::fromPtree(const Ptree& tree, ILog* log, const std::shared_ptr<SDKClientMessage>& message) {
    if (!message) {
        PELA_LOG4(log, kSrc, "UNEXPECTED SDKClientMessagePtree::fromPtree: empty message");
        return false;
    }
    Ptree members = tree;
    bool duplicate = PtreeUtil::containsDuplicateKey(members, log);

    bool hasName = members.find("name") != members.not_found();
    std::string name;
    int nameRc = TaskParamUtil::removeString("name", members, false, name, log);

    bool hasMessageId = members.find("messageId") != members.not_found();
    std::string messageId;
    int messageIdRc = TaskParamUtil::removeString("messageId", members, false, messageId, log);

    Ptree content;
    bool hasContent = PtreeUtil::removeAtKey("content", members, content, log);

    bool nothingLeft = PtreeUtil::checkPtreeIsEmpty(members, log);

    if (hasName && nameRc == ApiReturnCodeEnum::eNoError) {
        message->setName(name);
    }
    if (hasMessageId && messageIdRc == ApiReturnCodeEnum::eNoError) {
        message->setMessageId(messageId);
    }
    if (hasContent) {
        message->setContent(std::make_shared<Ptree>(content));
    }

    bool ok = !duplicate && nameRc == ApiReturnCodeEnum::eNoError && messageIdRc == ApiReturnCodeEnum::eNoError &&
              nothingLeft;
    if (!ok) {
        PELA_LOG4(log, kSrc, "Failed parsing SDK client message");
    }
    return ok;
}

}  // namespace tessel
