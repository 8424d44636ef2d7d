#include "messages/SDKServerMessage.h"

#include <sstream>

#include "messages/MessageId.h"
#include "messages/PtreeUtil.h"

namespace tessel {

SDKServerMessage::SDKServerMessage() : m_messageId(MessageId::getNext()) {}

std::string SDKServerMessage::toString() const {
    std::ostringstream os;
    os << "messageId=[" << m_messageId << "] name=[" << m_name << "] ";
    os << (PtreeUtil::ptreeIsEmpty(m_spContent) ? "content=<empty> " : "content=<opaque> ");
    return os.str();
}

}  // namespace tessel
