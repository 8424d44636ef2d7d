#include "messages/ChannelClient.h"

#include <sstream>

namespace tessel {

std::string ChannelClient::toString() const {
    std::ostringstream os;
    os << "id=[" << m_id << "]"
       << " url=[" << m_url << "]"
       << " hostname=[" << m_hostname << "]"
       << " name=[" << m_name << "]"
       << " type=[" << m_type << "]";
    return os.str();
}

}  // namespace tessel
