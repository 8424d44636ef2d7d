#include "tasks/media/GetMultimediaDeviceVolumeTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "messages/JSONHack.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetMultimediaDeviceVolumeTask";

GetMultimediaDeviceVolumeTask::GetMultimediaDeviceVolumeTask()
    : CommandTask(Identity(kSrc, "GetMultimediaDeviceVolumeTask")) {}

int GetMultimediaDeviceVolumeTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string device;
    if (int code = params.text("device", true, device).finish()) {
        return code;
    }
    int volume = 0;
    if (int code = zep().getMultimediaDeviceVolume(device, volume)) {
        return code;
    }
    spReplyContent = std::make_shared<Ptree>();
    spReplyContent->push_back(Ptree::value_type("volume", Ptree(JSONHack::getInt(volume))));
    spReplyContent->push_back(Ptree::value_type("device", Ptree(JSONHack::escapeUnicode(device))));
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
