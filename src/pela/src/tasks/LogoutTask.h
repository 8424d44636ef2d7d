#pragma once

#include "TaskImpl.h"

namespace tessel {

// "logout": ends the framework's connection.
class LogoutTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
