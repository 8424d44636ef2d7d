#pragma once

#include "TaskImpl.h"

namespace tessel {

// "encryptPboxPassword": a server password encrypted by the framework; a failure gives an empty result, not an error.
class EncryptPboxPasswordTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
