#pragma once

#include <string>

#include "tasks/CommandTask.h"

namespace tessel {

// "setProperty": one server address list by name; echoes the request's content.
class SetPropertyTask : public CommandTask {
public:
    SetPropertyTask();

    static bool supportedProperty(const std::string& name);

protected:
    int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) override;
};

}  // namespace tessel
