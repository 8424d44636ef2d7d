#include "tasks/connection/ConfigureTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/ConfigureTask";

ConfigureTask::ConfigureTask() : CommandTask(Identity(kSrc, "ConfigureTask")) {}

int ConfigureTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string shmLocalName;
    std::string shmRemoteName;
    params.text("shmLocalName", true, shmLocalName).text("shmRemoteName", true, shmRemoteName);
    if (int code = params.finish()) {
        return code;
    }
    return zep().configure(shmLocalName, shmRemoteName);
}

}  // namespace tessel
