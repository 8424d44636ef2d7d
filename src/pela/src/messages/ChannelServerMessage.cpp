#include "messages/ChannelServerMessage.h"

#include <sstream>

#include "messages/ApiReturnCode.h"

namespace tessel {

namespace {

// Outbound messages address the page by its id alone.
std::shared_ptr<ChannelClient> addressOf(const std::shared_ptr<ChannelClient>& client) {
    std::shared_ptr<ChannelClient> spAddress = std::make_shared<ChannelClient>();
    spAddress->setId(client->getId());
    return spAddress;
}

std::shared_ptr<ChannelServerMessage> makeReply(const std::shared_ptr<ChannelClient>& client,
                                                const std::shared_ptr<SDKClientMessage>& request) {
    std::shared_ptr<SDKServerMessage> spReply = std::make_shared<SDKServerMessage>();
    spReply->setReplyToMessageId(request->getMessageId());
    spReply->setName(request->getName());
    std::shared_ptr<ChannelServerMessage> spMessage = std::make_shared<ChannelServerMessage>();
    spMessage->setClient(addressOf(client));
    spMessage->setSDKServerMessage(spReply);
    return spMessage;
}

}  // namespace

std::string ChannelServerMessage::toString() const {
    std::ostringstream os;
    os << "channelServerMessage=[";
    if (m_spClient) {
        os << "client=[" << m_spClient->toString() << "] ";
    }
    if (m_spSDKServerMessage) {
        os << "serverSDKMessage=[" << m_spSDKServerMessage->toString() << "] ";
    }
    os << " ]";
    return os.str();
}

std::shared_ptr<ChannelServerMessage> ChannelServerMessage::createSuccessReplyTo(
    std::shared_ptr<ChannelClient> client, std::shared_ptr<SDKClientMessage> request) {
    if (!client || !request) {
        return nullptr;
    }
    return makeReply(client, request);
}

std::shared_ptr<ChannelServerMessage> ChannelServerMessage::createSuccessReplyTo(
    std::shared_ptr<ChannelClient> client, std::shared_ptr<SDKClientMessage> request, std::shared_ptr<Ptree> content) {
    std::shared_ptr<ChannelServerMessage> spMessage = createSuccessReplyTo(client, request);
    if (spMessage && content) {
        spMessage->getSDKServerMessage()->setContent(content);
    }
    return spMessage;
}

std::shared_ptr<ChannelServerMessage> ChannelServerMessage::createErrorReplyTo(
    std::shared_ptr<ChannelClient> client, std::shared_ptr<SDKClientMessage> request, int code) {
    std::shared_ptr<ChannelServerMessage> spMessage = createSuccessReplyTo(client, request);
    if (spMessage) {
        spMessage->getSDKServerMessage()->setError(ApiReturnCodeEnum::toString(code));
    }
    return spMessage;
}

std::shared_ptr<ChannelServerMessage> ChannelServerMessage::createEvent(std::shared_ptr<ChannelClient> client,
                                                                        const std::string& eventName) {
    if (!client) {
        return nullptr;
    }
    std::shared_ptr<SDKServerMessage> spEvent = std::make_shared<SDKServerMessage>();
    spEvent->setName(eventName);
    std::shared_ptr<ChannelServerMessage> spMessage = std::make_shared<ChannelServerMessage>();
    spMessage->setClient(addressOf(client));
    spMessage->setSDKServerMessage(spEvent);
    return spMessage;
}

std::shared_ptr<ChannelServerMessage> ChannelServerMessage::createEvent(std::shared_ptr<ChannelClient> client,
                                                                        const std::string& eventName,
                                                                        std::shared_ptr<Ptree> content) {
    std::shared_ptr<ChannelServerMessage> spMessage = createEvent(client, eventName);
    if (spMessage && content) {
        spMessage->getSDKServerMessage()->setContent(content);
    }
    return spMessage;
}

}  // namespace tessel
