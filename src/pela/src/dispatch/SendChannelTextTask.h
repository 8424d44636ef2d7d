#pragma once

#include <string>

#include "dispatch/TaskImpl.h"

namespace tessel {

// One finished outbound JSON text; the writer recognises it by type.
class SendChannelTextTask : public TaskImpl {
public:
    void setMessageString(const std::string& text) { m_message = text; }
    std::string getMessageString() const { return m_message; }
    void execute() override;

private:
    std::string m_message;
};

}  // namespace tessel
