#include "tasks/window/UndockExternalWindowTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/UndockExternalWindowTask";

UndockExternalWindowTask::UndockExternalWindowTask()
    : CommandTask(Identity(kSrc, "UndockExternalWindowTask")
                      .onlyRunByChrome("UndockExternalWindowTask docking not supported in non-Chrome browsers!")
                      .content(Content::EmptyOrAbsent)) {}

int UndockExternalWindowTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    return zep().undockExternalWindow();
}

}  // namespace tessel
