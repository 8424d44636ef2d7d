#pragma once

#include <string>

#include "TaskImpl.h"

namespace tessel {

// "setProperty": one server address list by name; echoes the request's content.
class SetPropertyTask : public TaskImpl {
public:
    void execute() override;
    static bool supportedProperty(const std::string& name);
};

}  // namespace tessel
