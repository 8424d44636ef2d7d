#pragma once

#include <memory>
#include <string>

#include "dispatch/TaskImpl.h"

namespace tessel {

class ChannelClientMessage;

// One received frame; execute() is the inbound dispatcher.
class RecvChannelTextTask : public TaskImpl {
public:
    void setMessageString(const std::string& text) { m_message = text; }
    const std::string& getMessageString() const { return m_message; }
    std::shared_ptr<ChannelClientMessage> getChannelClientMessage() const { return m_spChannelClientMessage; }
    void execute() override;

private:
    std::string m_message;
    std::shared_ptr<ChannelClientMessage> m_spChannelClientMessage;
};

}  // namespace tessel
