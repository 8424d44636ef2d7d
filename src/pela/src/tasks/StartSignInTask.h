#pragma once

#include "TaskImpl.h"

namespace tessel {

// "startSignIn": starts sign-in; the framework then asks for what it needs through login events.
class StartSignInTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
