#pragma once

#include <string>

#include "tasks/CommandTask.h"

namespace tessel {

// The parameters "connect" and "switchMode" share, with their defaults.
struct ConnectParameters {
    std::string deviceName;
    std::string lineDN;
    std::string mode = "SoftPhone";
    bool forceRegistration = false;

    // The extraction result of CommandTask::Params::finish().
    int read(CommandTask::Params& params);
    // "<task>: mode = [...] deviceName=[... linedn=[... forceRegistration=0|1"
    std::string logLine(const char* task) const;
};

// "connect": connects the framework to a device and line.
class ConnectTask : public CommandTask {
public:
    ConnectTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
