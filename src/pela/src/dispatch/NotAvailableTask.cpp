#include "dispatch/NotAvailableTask.h"

#include "dispatch/TaskImplUtil.h"
#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/NotAvailableTask";

void NotAvailableTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    PELA_LOG4(spContext->getLog(), kSrc, m_taskClassName << " not available in this build");
    TaskImplUtil::replyError(spContext, ApiReturnCodeEnum::eOperationNotSupported);
}

}  // namespace tessel
