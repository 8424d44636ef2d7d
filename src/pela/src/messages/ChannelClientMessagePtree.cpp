#include "messages/ChannelClientMessagePtree.h"

#include "logging/LogMacros.h"
#include "messages/ChannelClientPtree.h"
#include "messages/PtreeUtil.h"
#include "messages/SDKClientMessagePtree.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ChannelClientMessagePtree";

bool ChannelClientMessagePtree::fromPtree(const Ptree& tree, ILog* log,
                                          const std::shared_ptr<ChannelClientMessage>& message) {
    if (!message) {
        PELA_LOG4(log, kSrc, "UNEXPECTED ChannelClientMessagePtree::fromPtree: empty message");
        return false;
    }
    Ptree members = tree;
    bool duplicate = PtreeUtil::containsDuplicateKey(members, log);

    Ptree clientTree;
    bool hasClient = PtreeUtil::removeAtKey("client", members, clientTree, log);
    Ptree requestTree;
    bool hasRequest = PtreeUtil::removeAtKey("norvaSDKClientMessage", members, requestTree, log);
    Ptree connectedTree;
    bool hasConnected = PtreeUtil::removeAtKey("clientConnected", members, connectedTree, log);

    bool nothingLeft = PtreeUtil::checkPtreeIsEmpty(members, log);
    if (duplicate || !nothingLeft) {
        PELA_LOG4(log, kSrc, "Failed parsing SDK client message");
    }

    bool clientOk = true;
    if (hasClient) {
        std::shared_ptr<ChannelClient> spClient = std::make_shared<ChannelClient>();
        message->setClient(spClient);
        clientOk = ChannelClientPtree::fromPtree(clientTree, log, spClient);
    }

    bool requestOk = true;
    if (hasRequest) {
        std::shared_ptr<SDKClientMessage> spRequest = std::make_shared<SDKClientMessage>();
        message->setSDKClientMessage(spRequest);
        requestOk = SDKClientMessagePtree::fromPtree(requestTree, log, spRequest);
    }

    bool connectedOk = true;
    if (hasConnected) {
        bool connected = false;
        connectedOk = PtreeUtil::ptreeToBool(connectedTree, connected, log);
        if (connectedOk) {
            message->setClientConnected(connected);
        } else {
            // The text is a flag, not request content, so it may be shown.
            PELA_LOG4(log, kSrc,
                      "Invalid argument clientConnected=[" << connectedTree.data() << "]: boolean conversion");
        }
    }

    return !duplicate && nothingLeft && clientOk && requestOk && connectedOk;
}

}  // namespace tessel
