#include "tasks/connection/EncryptPboxPasswordTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/EncryptPboxPasswordTask";

EncryptPboxPasswordTask::EncryptPboxPasswordTask()
    : CommandTask(Identity(kSrc, "EncryptPboxPasswordTask").testsRequest().content(Content::Value)) {}

int EncryptPboxPasswordTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string password;
    if (int code = params.value(password)) {
        return code;
    }
    std::string encrypted;
    // A failed encryption is an empty result, not an error.
    if (zep().encryptPboxPassword(password, encrypted) != ApiReturnCodeEnum::eNoError) {
        encrypted.clear();
    }
    spReplyContent = std::make_shared<Ptree>(encrypted);
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace tessel
