#pragma once

#include "dispatch/TaskImpl.h"

namespace tessel {

// Queued by the client registry after each decision: starts the framework when
// allowed and tells the client through "userauthorized".
class AuthorizationTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
