#pragma once

#include <memory>

#include "messages/Ptree.h"
#include "messages/SDKServerMessage.h"

namespace tessel {

// Writes the "norvaSDKServerMessage" object of an outbound envelope.
class SDKServerMessagePtree {
public:
    // "messageId", "replyToMessageId", "error", "name" when non-empty, then
    // "content" whenever a content tree is set (even an empty one).
    static Ptree toPtree(const std::shared_ptr<SDKServerMessage>& message);
};

}  // namespace tessel
