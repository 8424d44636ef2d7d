#include "messages/ChannelClientMessage.h"

#include <sstream>

namespace tessel {

std::string ChannelClientMessage::toString() const {
    std::ostringstream os;
    os << "channelClientMessage=[";
    if (m_spClient) {
        os << "client=[" << m_spClient->toString() << "] ";
    }
    if (m_spSDKClientMessage) {
        os << "clientSDKMessage=[" << m_spSDKClientMessage->toString() << "] ";
    }
    if (!boost::logic::indeterminate(m_clientConnected)) {
        os << "clientConnected=" << (m_clientConnected ? "true" : "false");
    }
    os << " ]";
    return os.str();
}

}  // namespace tessel
