#pragma once

#include "TaskImpl.h"

namespace tessel {

// "showUserAuthorization": answers at once; the decision arrives as "userauthorized".
class ShowUserAuthorizationTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
