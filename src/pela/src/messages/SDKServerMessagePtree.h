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
    // Calls text(key, value) and tree(key, content) for each member toPtree
    // writes, in its order; the writer walks these instead of building the tree.
    template <class TextMember, class TreeMember>
    static void forEachMember(const SDKServerMessage& message, TextMember&& text, TreeMember&& tree) {
        const char* const keys[] = {"messageId", "replyToMessageId", "error", "name"};
        const std::string* const values[] = {&message.getMessageId(), &message.getReplyToMessageId(),
                                             &message.getError(), &message.getName()};
        for (size_t i = 0; i < 4; ++i) {
            if (!values[i]->empty()) {
                text(keys[i], *values[i]);
            }
        }
        const std::shared_ptr<Ptree>& spContent = message.content();
        if (spContent) {
            tree("content", *spContent);
        }
    }
};

}  // namespace tessel
