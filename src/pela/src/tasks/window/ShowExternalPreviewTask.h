#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "showPreviewInExternalWindow": shows the camera preview in the external window.
class ShowExternalPreviewTask : public CommandTask {
public:
    ShowExternalPreviewTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
