#include "messages/SDKServerMessagePtree.h"

namespace tessel {

namespace {

void putIfNotEmpty(Ptree& tree, const char* key, const std::string& value) {
    if (!value.empty()) {
        tree.push_back(Ptree::value_type(key, Ptree(value)));
    }
}

}  // namespace

Ptree SDKServerMessagePtree::toPtree(const std::shared_ptr<SDKServerMessage>& message) {
    Ptree tree;
    if (!message) {
        return tree;
    }
    putIfNotEmpty(tree, "messageId", message->getMessageId());
    putIfNotEmpty(tree, "replyToMessageId", message->getReplyToMessageId());
    putIfNotEmpty(tree, "error", message->getError());
    putIfNotEmpty(tree, "name", message->getName());
    std::shared_ptr<Ptree> spContent = message->getContent();
    if (spContent) {
        tree.push_back(Ptree::value_type("content", *spContent));
    }
    return tree;
}

}  // namespace tessel
