#pragma once

#include "TaskImpl.h"

namespace tessel {

// "setUserProfileEmailAddress": the answer to the e-mail prompt.
class SetUserProfileEmailAddressTask : public TaskImpl {
public:
    void execute() override;
};

}  // namespace tessel
