#include "CallTaskBase.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "ApiReturnCode.h"
#include "IZepWCmdClient.h"
#include "LogMacros.h"
#include "PtreeUtil.h"
#include "SDKClientMessage.h"
#include "TaskImplUtil.h"
#include "TaskParamUtil.h"

namespace tessel {

CallTaskBase::Params::Params(Ptree tree, ILog* log, int initialResult)
    : m_tree(std::move(tree)), m_log(log), m_result(initialResult) {}

CallTaskBase::Params& CallTaskBase::Params::callId(const char* key, bool required, int32_t& out) {
    if (m_result == ApiReturnCodeEnum::eNoError) {
        m_result = TaskParamUtil::removeCallId(key, m_tree, required, out, m_log);
    }
    return *this;
}

CallTaskBase::Params& CallTaskBase::Params::text(const char* key, bool required, std::string& out) {
    if (m_result == ApiReturnCodeEnum::eNoError) {
        m_result = TaskParamUtil::removeString(key, m_tree, required, out, m_log);
    }
    return *this;
}

CallTaskBase::Params& CallTaskBase::Params::flag(const char* key, bool required, bool& out) {
    if (m_result == ApiReturnCodeEnum::eNoError) {
        m_result = TaskParamUtil::removeBool(key, m_tree, required, out, m_log);
    }
    return *this;
}

CallTaskBase::Params& CallTaskBase::Params::windowhandle(const char* key, bool required, uint64_t& out) {
    if (m_result == ApiReturnCodeEnum::eNoError) {
        m_result = TaskParamUtil::removeWindowhandle(key, m_tree, required, out, m_log);
    }
    return *this;
}

int CallTaskBase::Params::finish() {
    if (m_result == ApiReturnCodeEnum::eNoError && !PtreeUtil::checkPtreeIsEmpty(m_tree, m_log)) {
        m_result = ApiReturnCodeEnum::eInvalidArgument;
    }
    return m_result;
}

int CallTaskBase::performOnCallId(Params& params, const char* paramLine, int (ZepWrapperAPI::*operation)(int),
                                  ZepWrapperAPI& zep) {
    int32_t callId = 0;
    if (int code = params.callId("callId", true, callId).finish()) {
        return code;
    }
    PELA_LOG4(params.log(), m_identity.source, paramLine << callId);
    return (zep.*operation)(callId);
}

void CallTaskBase::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    const char* const src = m_identity.source;
    PELA_LOG4(log, src, m_identity.entryLine);

    std::shared_ptr<SDKClientMessage> spMessage = spContext->getSDKClientMessage();
    if (!spMessage && m_identity.needsMessage) {
        PELA_LOG4(log, src,
                  "UNEXPECTED " << m_identity.className << "::execute, no spSDKClientMessage. Ignore client message.");
        return;
    }
    std::shared_ptr<IZepWCmdClient> spCmdcli = spContext->getZepCmdcli();
    if (!spCmdcli) {
        PELA_LOG4(log, src, "UNEXPECTED missing Cmdcli");
        return;
    }
    ZepWrapperAPI* pZepW = spCmdcli->getZepWrapper();
    if (pZepW == nullptr) {
        PELA_LOG4(log, src, "UNEXPECTED " << m_identity.className << "::execute no pZepW");
        TaskImplUtil::replyError(spContext, m_identity.noFrameworkCode);
        return;
    }

    Ptree content;
    int result = ApiReturnCodeEnum::eNoError;
    if (m_identity.readsContent) {
        std::shared_ptr<Ptree> spContent = spMessage ? spMessage->getContent() : std::shared_ptr<Ptree>();
        if (!spContent) {
            PELA_LOG4(log, src, "UNEXPECTED missing content");
            TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eInvalidArgument);
            return;
        }
        content = *spContent;
        if (PtreeUtil::containsDuplicateKey(content, log)) {
            result = ApiReturnCodeEnum::eInvalidArgument;
        }
    }

    Params params(std::move(content), log, result);
    std::shared_ptr<Ptree> spReplyContent;
    result = perform(params, *pZepW, spReplyContent);
    if (result != ApiReturnCodeEnum::eNoError) {
        TaskImplUtil::replyError(spContext, result);
        return;
    }
    if (spReplyContent) {
        TaskImplUtil::replySuccess(spContext, spReplyContent);
    } else {
        TaskImplUtil::replySuccess(spContext);
    }
}

}  // namespace tessel
