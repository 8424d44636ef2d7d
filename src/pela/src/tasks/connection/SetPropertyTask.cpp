#include "tasks/connection/SetPropertyTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "messages/PtreeUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/SetPropertyTask";

SetPropertyTask::SetPropertyTask() : CommandTask(Identity(kSrc, "SetPropertyTask").content(Content::Optional)) {}

bool SetPropertyTask::supportedProperty(const std::string& name) {
    return name == "CtiAddressList" || name == "TftpAddressList" || name == "LoryAddressList";
}

int SetPropertyTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    const Ptree* content = params.tree();
    if (content == nullptr) {
        PELA_LOG4(log(), kSrc, "Content for property is empty");
        return ApiReturnCodeEnum::eSyntaxError;
    }
    // Members are applied as they come; a request with two valid members has
    // both applied before it is refused.
    int applied = 0;
    for (const Ptree::value_type& member : *content) {
        PELA_LOG4(log(), kSrc, "prop name: " << member.first);
        PELA_LOG4(log(), kSrc, "prop value: " << member.second.data());
        if (!supportedProperty(member.first)) {
            PELA_LOG4(log(), kSrc, "Specified property is not supported");
            return ApiReturnCodeEnum::eSyntaxError;
        }
        std::vector<std::string> addresses;
        if (!PtreeUtil::ptreeToStringVector(member.second, addresses, log())) {
            PELA_LOG4(log(), kSrc, "The Property list is malformed");
            return ApiReturnCodeEnum::eSyntaxError;
        }
        if (member.first == "CtiAddressList") {
            zep().setCtiAddressList(addresses);
        } else if (member.first == "TftpAddressList") {
            zep().setTftpAddressList(addresses);
        } else {
            zep().setLoryAddressList(addresses);
        }
        ++applied;
    }
    if (applied != 1) {
        PELA_LOG4(log(), kSrc, "Content property is not correct");
        return ApiReturnCodeEnum::eSyntaxError;
    }
    spReplyContent = std::make_shared<Ptree>(*content);
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
