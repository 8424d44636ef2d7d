#pragma once

#include "Ptree.h"
#include "TaskImpl.h"

namespace tessel {

// "getVersion": the three version keys.
class GetVersionTask : public TaskImpl {
public:
    void execute() override;

    // Puts "version.plugin", "version.plugin_revision" and "version.system_release";
    // "init" answers the same values.
    static void putVersion(Ptree& content);
};

}  // namespace tessel
