#pragma once

#include "messages/Ptree.h"
#include "tasks/CommandTask.h"

namespace tessel {

// "getVersion": the three version keys.
class GetVersionTask : public CommandTask {
public:
    GetVersionTask();

    // Puts "version.plugin", "version.plugin_revision" and "version.system_release";
    // "init" answers the same values.
    static void putVersion(Ptree& content);

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
