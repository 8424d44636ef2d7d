#include "tasks/window/DockUpdateTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/ApiReturnCode.h"
#include "tasks/window/DockGeometry.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/DockUpdateTask";

DockUpdateTask::DockUpdateTask()
    : CommandTask(Identity(kSrc, "DockUpdateTask")
                      .onlyRunByChrome("DockUpdateTask docking not supported in non-Chrome browsers!")) {}

int DockUpdateTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    int32_t offsetX = 0;
    int32_t offsetY = 0;
    int32_t pageWidth = 0;
    int32_t pageHeight = 0;
    DockGeometry area;
    params.integer("offsetX", true, offsetX)
        .integer("offsetY", true, offsetY)
        .integer("width", true, area.width)
        .integer("height", true, area.height)
        .integer("pageWidth", true, pageWidth)
        .integer("pageHeight", true, pageHeight)
        .integer("cropOffsetX", true, area.cropOffsetX)
        .integer("cropOffsetY", true, area.cropOffsetY)
        .integer("cropWidth", true, area.cropWidth)
        .integer("cropHeight", true, area.cropHeight);
    if (int code = params.finish()) {
        return code;
    }
    if (int code = area.check(log(), kSrc, "DockUpdateTask")) {
        return code;
    }
    // A page sends one of these each time it scrolls or resizes: no
    // parameter line, and no reply unless the update failed.
    int code = zep().dockUpdate(offsetX, offsetY, area.width, area.height, pageWidth, pageHeight, area.cropOffsetX,
                                area.cropOffsetY, area.cropWidth, area.cropHeight);
    return code == ApiReturnCodeEnum::eNoError ? kNoReply : code;
}

}  // namespace tessel
