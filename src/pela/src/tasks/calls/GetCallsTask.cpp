#include "tasks/calls/GetCallsTask.h"

#include <vector>

#include <zepwrapper/ZepWrapperAPI.h>

#include "bridge/ZepCallInfoPtree.h"
#include "messages/ApiReturnCode.h"
#include "messages/JSONHack.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/GetCallsTask";

// The content is not read: whatever the page sends, it gets the list.
GetCallsTask::GetCallsTask() : CommandTask(Identity(kSrc, "GetCallsTask").content(Content::Ignored)) {}

int GetCallsTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::vector<int> callIds;
    int code = zep().getCalls(callIds);
    if (code != ApiReturnCodeEnum::eNoError) {
        return code;
    }
    Ptree calls;
    for (int callId : callIds) {
        // A call that ended since the list was taken comes back empty and is shown as not existing.
        std::shared_ptr<ZepCallInfo> spCall;
        zep().getCallInfo(callId, spCall);
        calls.push_back(Ptree::value_type("", ZepCallInfoPtree::toPtree(spCall, callId)));
    }
    if (calls.empty()) {
        calls.put_value(JSONHack::getEmptyArray());
    }
    spReplyContent = std::make_shared<Ptree>();
    spReplyContent->add_child("calls", calls);
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
