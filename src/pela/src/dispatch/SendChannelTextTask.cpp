#include "dispatch/SendChannelTextTask.h"

#include "dispatch/ITaskContext.h"
#include "logging/LogMacros.h"

static const char* const kSrc = "src/pela/src/tasks/SendChannelTextTask";

namespace tessel {

// Only a trace: the writer recognises these tasks by type and writes their
// text; executing one sends nothing.
void SendChannelTextTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (spContext) {
        PELA_LOG4(spContext->getLog(), kSrc, "SendChannelTextTask::execute msg=[" << m_message << "]");
    }
}

}  // namespace tessel
