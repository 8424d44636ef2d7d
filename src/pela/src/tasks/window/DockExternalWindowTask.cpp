#include "tasks/window/DockExternalWindowTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"
#include "tasks/window/DockGeometry.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/DockExternalWindowTask";

DockExternalWindowTask::DockExternalWindowTask()
    : CommandTask(Identity(kSrc, "DockExternalWindowTask")
                      .onlyRunByChrome("DockExternalWindowTask docking not supported in non-Chrome browsers!")) {}

int DockExternalWindowTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string title;
    int32_t offsetX = 0;
    int32_t offsetY = 0;
    DockGeometry area;
    params.text("title", true, title)
        .integer("offsetX", true, offsetX)
        .integer("offsetY", true, offsetY)
        .integer("height", true, area.height)
        .integer("width", true, area.width)
        .integer("cropOffsetX", true, area.cropOffsetX)
        .integer("cropOffsetY", true, area.cropOffsetY)
        .integer("cropWidth", true, area.cropWidth)
        .integer("cropHeight", true, area.cropHeight);
    if (int code = params.finish()) {
        return code;
    }
    if (int code = area.check(log(), kSrc, "DockExternalWindowTask")) {
        return code;
    }
    PELA_LOG4(log(), kSrc,
              "DockExternalWindowTask: offsetX="
                  << offsetX << ", offsetY=" << offsetY << ", width=" << area.width << ", height=" << area.height
                  << ", title= " << title << ", cropOffsetX=" << area.cropOffsetX << ", cropOffsetY="
                  << area.cropOffsetY << ", cropWidth=" << area.cropWidth << ", cropHeight=" << area.cropHeight);
    return zep().dockExternalWindow(offsetX, offsetY, area.width, area.height, title, area.cropOffsetX,
                                    area.cropOffsetY, area.cropWidth, area.cropHeight);
}

}  // namespace tessel
