#include "messages/ChannelServerMessagePtree.h"

#include "messages/ChannelClientPtree.h"
#include "messages/SDKServerMessagePtree.h"

namespace tessel {

Ptree ChannelServerMessagePtree::toPtree(const std::shared_ptr<ChannelServerMessage>& message) {
    Ptree tree;
    if (!message) {
        return tree;
    }
    forEachMember(
        *message,
        [&tree, &message](const char* key, const ChannelClient&) {
            tree.push_back(Ptree::value_type(key, ChannelClientPtree::toPtree(message->getClient())));
        },
        [&tree, &message](const char* key, const SDKServerMessage&) {
            tree.push_back(Ptree::value_type(key, SDKServerMessagePtree::toPtree(message->getSDKServerMessage())));
        });
    return tree;
}

}  // namespace tessel
