#include "messages/SDKClientMessage.h"

#include <sstream>

#include "messages/PtreeUtil.h"

namespace tessel {

std::string SDKClientMessage::toString() const {
    std::ostringstream os;
    os << "messageId=[" << m_messageId << "] name=[" << m_name << "]";
    os << (PtreeUtil::ptreeIsEmpty(m_spContent) ? " content=<empty>" : " content=<opaque>");
    return os.str();
}

}  // namespace tessel
