#pragma once

#include "TaskImpl.h"

namespace tessel {

// "getUserAuthStatus": the status text of the requesting client.
class GetUserAuthStatusTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
