#pragma once

#include <memory>
#include <string>

#include <boost/logic/tribool.hpp>

#include "messages/ChannelClient.h"
#include "messages/SDKClientMessage.h"

namespace tessel {

// The inbound envelope: a request, or a connect/disconnect notice.
class ChannelClientMessage {
public:
    std::shared_ptr<ChannelClient> getClient() const { return m_spClient; }
    std::shared_ptr<SDKClientMessage> getSDKClientMessage() const { return m_spSDKClientMessage; }
    boost::logic::tribool getClientConnected() const { return m_clientConnected; }
    void setClient(std::shared_ptr<ChannelClient> v) { m_spClient = v; }
    void setSDKClientMessage(std::shared_ptr<SDKClientMessage> v) { m_spSDKClientMessage = v; }
    void setClientConnected(boost::logic::tribool v) { m_clientConnected = v; }

    std::string toString() const;

private:
    std::shared_ptr<ChannelClient> m_spClient;
    std::shared_ptr<SDKClientMessage> m_spSDKClientMessage;
    boost::logic::tribool m_clientConnected = boost::logic::indeterminate;
};

}  // namespace tessel
