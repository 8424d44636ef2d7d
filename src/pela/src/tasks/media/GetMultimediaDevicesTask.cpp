#include "tasks/media/GetMultimediaDevicesTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "bridge/ZepMultimediaDevicesPtree.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetMultimediaDevicesTask";

GetMultimediaDevicesTask::GetMultimediaDevicesTask()
    : CommandTask(Identity(kSrc, "GetMultimediaDevicesTask").content(Content::EmptyOrAbsent)) {}

int GetMultimediaDevicesTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::vector<std::shared_ptr<ZepMultimediaDevices>> devices;
    if (int code = zep().getMultimediaDevices(devices)) {
        return code;
    }
    spReplyContent = std::make_shared<Ptree>();
    spReplyContent->add_child("multimediadevices", ZepMultimediaDevicesPtree::vectorToPtree(devices));
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
