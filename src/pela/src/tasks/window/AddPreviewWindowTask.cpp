#include "tasks/window/AddPreviewWindowTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/AddPreviewWindowTask";

AddPreviewWindowTask::AddPreviewWindowTask()
    : CommandTask(Identity(kSrc, "AddPreviewWindowTask")
                      .content(Content::EmptyOrAbsent)
                      .syntaxLine("Syntax error: content is specified, should be empty")) {}

int AddPreviewWindowTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return zep().addPreviewWindow();
}

}  // namespace tessel
