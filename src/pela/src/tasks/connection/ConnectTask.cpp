#include "tasks/connection/ConnectTask.h"

#include <sstream>

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ConnectTask";

int ConnectParameters::read(CommandTask::Params& params) {
    return params.text("deviceName", true, deviceName)
        .text("lineDN", false, lineDN)
        .text("phoneMode", false, mode)
        .flag("forceRegistration", false, forceRegistration)
        .finish();
}

// The brackets after the device and line are left open, as log readers expect.
std::string ConnectParameters::logLine(const char* task) const {
    std::ostringstream line;
    line << task << ": mode = [" << mode << "] deviceName=[" << deviceName << " linedn=[" << lineDN
         << " forceRegistration=" << forceRegistration;
    return line.str();
}

ConnectTask::ConnectTask() : CommandTask(Identity(kSrc, "ConnectTask").testsRequest()) {}

int ConnectTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    ConnectParameters connect;
    if (int code = connect.read(params)) {
        return code;
    }
    PELA_LOG4(log(), kSrc, connect.logLine("ConnectTask"));
    // The mode is accepted and logged, but the framework has one mode only.
    return zep().connect(connect.deviceName, connect.lineDN, connect.forceRegistration);
}

}  // namespace tessel
