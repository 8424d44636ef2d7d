#include "tasks/connection/GetPropertyTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "bridge/ZepDeviceAndPhoneInfoPtree.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetPropertyTask";

// Two of its log lines name sibling tasks; log readers key on them as they are.
GetPropertyTask::GetPropertyTask()
    : CommandTask(Identity(kSrc, "GetPropertyTask")
                      .testsRequest("EncryptPboxPasswordTask")
                      .noFramework(ApiReturnCodeEnum::eOperationFailed, "SetPropertyTask")
                      .content(Content::Value)) {}

int GetPropertyTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string name;
    if (int code = params.value(name)) {
        return code;
    }
    auto spReply = std::make_shared<Ptree>();
    if (name == "connectionStatus") {
        std::string status;
        zep().getConnectionStatus(status);
        spReply->put(name, status);
    } else if (name == "mode") {
        std::string mode;
        zep().getMode(mode);
        spReply->put(name, mode);
    } else if (name == "device") {
        spReply->add_child(name, ZepDeviceAndPhoneInfoPtree::toPtree(&zep()));
    } else if (name == "line") {
        spReply->add_child(name, ZepDeviceAndPhoneInfoPtree::fromLineInfo(&zep()));
    } else {
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    spReplyContent = spReply;
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
