#include "tasks/CommandTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "bridge/IZepWCmdClient.h"
#include "dispatch/TaskImplUtil.h"
#include "logging/LogMacros.h"
#include "messages/PtreeUtil.h"
#include "messages/SDKClientMessage.h"
#include "messages/TaskParamUtil.h"

namespace tessel {

CommandTask::Params::Params(const std::shared_ptr<Ptree>& spContent, ILog* log, int initialResult)
    : m_tree(spContent ? *spContent : Ptree()), m_present(spContent != nullptr), m_log(log), m_result(initialResult) {}

namespace {

// One read of the chain: skipped once an earlier read failed.
template <class T>
using Remover = int (*)(const std::string&, Ptree&, bool, T&, ILog*);

template <class T>
void read(int& result, Remover<T> remove, const char* key, Ptree& tree, bool required, T& out, ILog* log) {
    if (result == ApiReturnCodeEnum::eNoError) {
        result = remove(key, tree, required, out, log);
    }
}

}  // namespace

CommandTask::Params& CommandTask::Params::text(const char* key, bool required, std::string& out) {
    read(m_result, &TaskParamUtil::removeString, key, m_tree, required, out, m_log);
    return *this;
}

CommandTask::Params& CommandTask::Params::flag(const char* key, bool required, bool& out) {
    read(m_result, &TaskParamUtil::removeBool, key, m_tree, required, out, m_log);
    return *this;
}

CommandTask::Params& CommandTask::Params::integer(const char* key, bool required, int32_t& out) {
    read(m_result, &TaskParamUtil::removeInt, key, m_tree, required, out, m_log);
    return *this;
}

CommandTask::Params& CommandTask::Params::unsignedInteger(const char* key, bool required, uint32_t& out) {
    read(m_result, &TaskParamUtil::removeUInt, key, m_tree, required, out, m_log);
    return *this;
}

CommandTask::Params& CommandTask::Params::longInteger(const char* key, bool required, int64_t& out) {
    read(m_result, &TaskParamUtil::removeLong, key, m_tree, required, out, m_log);
    return *this;
}

CommandTask::Params& CommandTask::Params::callId(const char* key, bool required, int32_t& out) {
    read(m_result, &TaskParamUtil::removeCallId, key, m_tree, required, out, m_log);
    return *this;
}

CommandTask::Params& CommandTask::Params::windowHandle(const char* key, bool required, uint64_t& out) {
    read(m_result, &TaskParamUtil::removeWindowhandle, key, m_tree, required, out, m_log);
    return *this;
}

CommandTask::Params& CommandTask::Params::textList(const char* key, bool required, std::vector<std::string>& out) {
    if (m_result != ApiReturnCodeEnum::eNoError) {
        return *this;
    }
    Ptree list;
    if (!PtreeUtil::removeAtKey(key, m_tree, list, m_log)) {
        if (required) {
            m_result = ApiReturnCodeEnum::eInvalidArgument;
        }
    } else if (!PtreeUtil::ptreeToStringVector(list, out, m_log)) {
        m_result = ApiReturnCodeEnum::eInvalidArgument;
    }
    return *this;
}

int CommandTask::Params::finish() {
    if (m_result == ApiReturnCodeEnum::eNoError && !PtreeUtil::checkPtreeIsEmpty(m_tree, m_log)) {
        m_result = ApiReturnCodeEnum::eInvalidArgument;
    }
    return m_result;
}

int CommandTask::Params::value(std::string& out) {
    if (!m_present || !PtreeUtil::ptreeToString(m_tree, out, m_log)) {
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    return ApiReturnCodeEnum::eNoError;
}

int CommandTask::performOnCallId(Params& params, const char* paramLine, int (ZepWrapperAPI::*operation)(int)) {
    int32_t id = 0;
    if (int code = params.callId("callId", true, id).finish()) {
        return code;
    }
    PELA_LOG4(m_log, m_identity.source, paramLine << id);
    return (zep().*operation)(id);
}

void CommandTask::execute() {
    m_spContext = getTaskContext();
    if (!m_spContext) {
        return;
    }
    m_log = m_spContext->getLog();
    const Identity& id = m_identity;
    if (id.entry != nullptr) {
        PELA_LOG4(m_log, id.source, id.entry);
    } else {
        PELA_LOG4(m_log, id.source, id.className << "::execute");
    }

    if (id.chromeRefusal != nullptr && !m_spContext->getIsRunByChrome()) {
        PELA_LOG4(m_log, id.source, id.chromeRefusal);
        TaskImplUtil::replyError(m_spContext, ApiReturnCodeEnum::eOperationFailed);
        return;
    }

    std::shared_ptr<SDKClientMessage> spMessage = m_spContext->getSDKClientMessage();
    if (!spMessage && id.requestClass != nullptr) {
        PELA_LOG4(m_log, id.source,
                  "UNEXPECTED " << id.requestClass << "::execute, no spSDKClientMessage. Ignore client message.");
        return;
    }
    if (id.usesFramework) {
        std::shared_ptr<IZepWCmdClient> spCmdcli = m_spContext->getZepCmdcli();
        if (!spCmdcli) {
            PELA_LOG4(m_log, id.source, "UNEXPECTED missing Cmdcli");
            return;
        }
        m_pZepW = spCmdcli->getZepWrapper();
        if (m_pZepW == nullptr) {
            const char* cls = id.noFrameworkClass != nullptr ? id.noFrameworkClass : id.className;
            PELA_LOG4(m_log, id.source, "UNEXPECTED " << cls << "::execute no pZepW");
            TaskImplUtil::replyError(m_spContext, id.noFrameworkCode);
            return;
        }
    }

    std::shared_ptr<Ptree> spContent = spMessage ? spMessage->getContent() : std::shared_ptr<Ptree>();
    int result = ApiReturnCodeEnum::eNoError;
    switch (id.contentRule) {
        case Content::Parameters:
        case Content::Value:
        case Content::Empty:
            if (!spContent) {
                PELA_LOG4(m_log, id.source, "UNEXPECTED missing content");
                TaskImplUtil::replyError(m_spContext, ApiReturnCodeEnum::eInvalidArgument);
                return;
            }
            break;
        case Content::Filled:
            if (PtreeUtil::ptreeIsEmpty(spContent)) {
                PELA_LOG4(m_log, id.source,
                          (id.syntax != nullptr ? id.syntax : "Syntax error: no input content is specified"));
                TaskImplUtil::replyError(m_spContext, ApiReturnCodeEnum::eSyntaxError);
                return;
            }
            break;
        case Content::Optional:
        case Content::EmptyOrAbsent:
        case Content::Ignored:
            break;
    }
    if ((id.contentRule == Content::Parameters || id.contentRule == Content::Filled) &&
        PtreeUtil::containsDuplicateKey(*spContent, m_log)) {
        result = ApiReturnCodeEnum::eInvalidArgument;
    }
    if ((id.contentRule == Content::Empty || id.contentRule == Content::EmptyOrAbsent) &&
        !PtreeUtil::ptreeIsEmpty(spContent)) {
        PELA_LOG4(m_log, id.source,
                  (id.syntax != nullptr ? id.syntax : "Syntax error: no input content should be specified"));
        TaskImplUtil::replyError(m_spContext, ApiReturnCodeEnum::eSyntaxError);
        return;
    }

    Params params(id.contentRule == Content::Ignored ? nullptr : spContent, m_log, result);
    std::shared_ptr<Ptree> spReplyContent;
    result = perform(params, spReplyContent);
    if (result == kNoReply) {
        return;
    }
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(m_spContext, result);
    } else if (spReplyContent) {
        TaskImplUtil::replySuccess(m_spContext, spReplyContent);
    } else {
        TaskImplUtil::replySuccess(m_spContext);
    }
}

}  // namespace tessel
