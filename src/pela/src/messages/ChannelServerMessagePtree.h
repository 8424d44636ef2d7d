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
    // Calls client(key, client) and sdk(key, message) for each member toPtree
    // writes, in its order; the writer walks these instead of building the tree.
    template <class ClientMember, class SdkMember>
    static void forEachMember(const ChannelServerMessage& message, ClientMember&& client, SdkMember&& sdk) {
        std::shared_ptr<ChannelClient> spClient = message.getClient();
        if (spClient) {
            client("client", *spClient);
        }
        std::shared_ptr<SDKServerMessage> spSDKMessage = message.getSDKServerMessage();
        if (spSDKMessage) {
            sdk("norvaSDKServerMessage", *spSDKMessage);
        }
    }
};

}  // namespace tessel
