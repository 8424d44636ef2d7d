#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "setCaptureDevice": chooses the capture device by its client identifier.
class SetCaptureDeviceTask : public CommandTask {
public:
    SetCaptureDeviceTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
