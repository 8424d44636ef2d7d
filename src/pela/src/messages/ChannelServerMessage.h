#pragma once

#include <memory>
#include <string>

#include "messages/ChannelClient.h"
#include "messages/Ptree.h"
#include "messages/SDKClientMessage.h"
#include "messages/SDKServerMessage.h"

namespace tessel {

// The outbound envelope. The factories address only the client's id.
class ChannelServerMessage {
public:
    std::shared_ptr<ChannelClient> getClient() const { return m_spClient; }
    std::shared_ptr<SDKServerMessage> getSDKServerMessage() const { return m_spSDKServerMessage; }
    void setClient(std::shared_ptr<ChannelClient> v) { m_spClient = v; }
    void setSDKServerMessage(std::shared_ptr<SDKServerMessage> v) { m_spSDKServerMessage = v; }

    std::string toString() const;

    static std::shared_ptr<ChannelServerMessage> createSuccessReplyTo(std::shared_ptr<ChannelClient> client,
                                                                      std::shared_ptr<SDKClientMessage> request);
    static std::shared_ptr<ChannelServerMessage> createSuccessReplyTo(std::shared_ptr<ChannelClient> client,
                                                                      std::shared_ptr<SDKClientMessage> request,
                                                                      std::shared_ptr<Ptree> content);
    static std::shared_ptr<ChannelServerMessage> createErrorReplyTo(std::shared_ptr<ChannelClient> client,
                                                                    std::shared_ptr<SDKClientMessage> request,
                                                                    int code);
    static std::shared_ptr<ChannelServerMessage> createEvent(std::shared_ptr<ChannelClient> client,
                                                             const std::string& eventName);
    static std::shared_ptr<ChannelServerMessage> createEvent(std::shared_ptr<ChannelClient> client,
                                                             const std::string& eventName,
                                                             std::shared_ptr<Ptree> content);

private:
    std::shared_ptr<ChannelClient> m_spClient;
    std::shared_ptr<SDKServerMessage> m_spSDKServerMessage;
};

}  // namespace tessel
