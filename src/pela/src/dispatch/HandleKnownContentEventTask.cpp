#include "dispatch/HandleKnownContentEventTask.h"

#include "dispatch/TaskImplUtil.h"
#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/HandleKnownContentEventTask";

void HandleKnownContentEventTask::setContentStringValue(const std::string& text) {
    if (!m_spContent) {
        m_spContent = std::make_shared<Ptree>();
    }
    m_spContent->put_value(text);
}

void HandleKnownContentEventTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    PELA_LOG4(log, kSrc, "HandleKnownContentEventTask::execute. Event name: " << m_eventName);
    if (m_eventName.empty()) {
        PELA_LOG4(log, kSrc, "UNEXPECTED HandleKnownContentEventTask::execute eventName empty");
        return;
    }
    TaskImplUtil::sendEvent(spContext, m_eventName, m_spContent);
}

}  // namespace tessel
