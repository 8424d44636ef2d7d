#pragma once

#include "TaskImpl.h"

namespace tessel {

// "setUserProfileCredentials": the answer to the credentials prompt. Never logs its parameters.
class SetUserProfileCredentialsTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
