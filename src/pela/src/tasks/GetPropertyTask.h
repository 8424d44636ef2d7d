#pragma once

#include "TaskImpl.h"

namespace tessel {

// "getProperty": one connection property by name.
class GetPropertyTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
