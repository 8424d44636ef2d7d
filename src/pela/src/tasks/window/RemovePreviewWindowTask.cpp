#include "tasks/window/RemovePreviewWindowTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/RemovePreviewWindowTask";

RemovePreviewWindowTask::RemovePreviewWindowTask()
    : CommandTask(Identity(kSrc, "RemovePreviewWindowTask")
                      .content(Content::EmptyOrAbsent)
                      .syntaxLine("Syntax error: content is specified, should be empty")) {}

int RemovePreviewWindowTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return zep().removePreviewWindow();
}

}  // namespace tessel
