#pragma once

#include "tasks/CommandTask.h"

namespace tessel {

// "handleInvalidCertificate": the user's decision on a registrar's certificate
// that failed verification ("invalidcertificate"): accept it (trusted, and the
// registration tried again) or reject it (the connection fails).
class HandleInvalidCertificateTask : public CommandTask {
public:
    HandleInvalidCertificateTask();

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
