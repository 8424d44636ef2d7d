#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "removePreviewWindow": closes the camera preview.
class RemovePreviewWindowTask : public CommandTask {
public:
    RemovePreviewWindowTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
