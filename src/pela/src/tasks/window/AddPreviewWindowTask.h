#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "addPreviewWindow": opens the camera preview.
class AddPreviewWindowTask : public CommandTask {
public:
    AddPreviewWindowTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
