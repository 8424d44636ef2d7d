#include "messages/ChannelServerMessagePtree.h"

#include "messages/ChannelClientPtree.h"
#include "messages/SDKServerMessagePtree.h"

namespace tessel {

Ptree ChannelServerMessagePtree::toPtree(const std::shared_ptr<ChannelServerMessage>& message) {
    Ptree tree;
    if (!message) {
        return tree;
    }
    if (message->getClient()) {
        tree.push_back(Ptree::value_type("client", ChannelClientPtree::toPtree(message->getClient())));
    }
    if (message->getSDKServerMessage()) {
        tree.push_back(
            Ptree::value_type("norvaSDKServerMessage", SDKServerMessagePtree::toPtree(message->getSDKServerMessage())));
    }
    return tree;
}

}  // namespace tessel
