#pragma once

#include <memory>
#include <string>

#include "messages/Ptree.h"

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

    // boost::property_tree::read_json's tree and errors (it throws its
    // json_parser_error), read from the text in memory rather than a stream.
    static void readJson(const std::string& text, Ptree& tree);

private:
    ILog* m_log = nullptr;
};

}  // namespace tessel
