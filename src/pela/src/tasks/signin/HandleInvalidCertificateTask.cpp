#include "tasks/signin/HandleInvalidCertificateTask.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "logging/LogMacros.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/HandleInvalidCertificateTask";

HandleInvalidCertificateTask::HandleInvalidCertificateTask()
    : CommandTask(Identity(kSrc, "HandleInvalidCertificateTask").testsRequest()) {}

int HandleInvalidCertificateTask::perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) {
    std::string fingerprint;
    bool accept = false;
    if (int code = params.text("certFingerprint", true, fingerprint).flag("accept", true, accept).finish()) {
        return code;
    }
    // A certificate's fingerprint is no secret.
    PELA_LOG4(log(), kSrc,
              "HandleInvalidCertificateTask: certFingerprint=[" << fingerprint << "] accept=[" << accept << "]");
    return zep().handleInvalidCertificate(fingerprint, accept);
}

}  // namespace tessel
