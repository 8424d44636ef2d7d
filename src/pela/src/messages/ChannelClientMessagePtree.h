#pragma once

#include <memory>

#include "messages/ChannelClientMessage.h"
#include "messages/Ptree.h"

class ILog;

namespace tessel {

// Reads the object under "norvaChannelMessage" of an inbound document.
class ChannelClientMessagePtree {
public:
    // Fills message (which must exist); false for a repeated or unknown
    // member, a bad client or request, or a "clientConnected" that is not
    // "true"/"false". Never throws.
    static bool fromPtree(const Ptree& tree, ILog* log, const std::shared_ptr<ChannelClientMessage>& message);
};

}  // namespace tessel
