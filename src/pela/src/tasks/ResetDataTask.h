#pragma once

#include "TaskImpl.h"

namespace tessel {

// "resetData": forgets the signed-in user's stored data.
class ResetDataTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
