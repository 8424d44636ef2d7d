#pragma once

#include <memory>

#include "messages/ChannelServerMessage.h"
#include "messages/Ptree.h"

namespace tessel {

// Writes the object that goes under "norvaChannelMessage" of an outbound document.
class ChannelServerMessagePtree {
public:
    // "client" (when set), then "norvaSDKServerMessage" (when set).
    static Ptree toPtree(const std::shared_ptr<ChannelServerMessage>& message);
};

}  // namespace tessel
