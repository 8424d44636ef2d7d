#include "tasks/connection/GetAvailableDevicesTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "bridge/ZepPhoneInfoPtree.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetAvailableDevicesTask";

GetAvailableDevicesTask::GetAvailableDevicesTask()
    : CommandTask(Identity(kSrc, "GetAvailableDevicesTask").testsRequest().content(Content::EmptyOrAbsent)) {}

int GetAvailableDevicesTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    ZepWrapperAPI::PhoneList spDevices;
    zep().getAvailableDevices(spDevices);
    spReplyContent = std::make_shared<Ptree>();
    spReplyContent->add_child("devices", ZepPhoneInfoPtree::vectorToPtree(spDevices));
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
