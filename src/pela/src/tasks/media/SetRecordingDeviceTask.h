#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setRecordingDevice": chooses the recording device by its client identifier.
class SetRecordingDeviceTask : public CommandTask {
public:
    SetRecordingDeviceTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
