#pragma once

#include <memory>
#include <string>

class ILog;

namespace tessel {

class ChannelClientMessage;
class ChannelServerMessage;

class JSONParse {
public:
    void setLog(ILog* log) { m_log = log; }
    // On success message holds a new ChannelClientMessage. Never throws.
    bool parseChannelClientMessage(const std::string& text, std::shared_ptr<ChannelClientMessage>& message);
    // "" on failure. Never throws.
    std::string toJSONChannelServerMessage(std::shared_ptr<ChannelServerMessage> message);

private:
    ILog* m_log = nullptr;
};

}  // namespace tessel
