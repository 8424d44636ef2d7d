#pragma once

#include <memory>

#include "messages/Ptree.h"
#include "messages/SDKClientMessage.h"

class ILog;

namespace tessel {

// Reads the "norvaSDKClientMessage" object of an inbound envelope.
class SDKClientMessagePtree {
public:
    // False for a repeated or unknown member, or a "name"/"messageId" that is
    // not a string. Never throws.
    static bool fromPtree(const Ptree& tree, ILog* log, const std::shared_ptr<SDKClientMessage>& message);
};

}  // namespace tessel
