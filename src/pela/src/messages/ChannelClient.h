#pragma once

#include <string>

namespace tessel {

// One page, as it names itself in every inbound envelope.
class ChannelClient {
public:
    const std::string& getId() const { return m_id; }
    const std::string& getUrl() const { return m_url; }
    const std::string& getHostname() const { return m_hostname; }
    const std::string& getName() const { return m_name; }
    const std::string& getType() const { return m_type; }
    void setId(const std::string& v) { m_id = v; }
    void setUrl(const std::string& v) { m_url = v; }
    void setHostname(const std::string& v) { m_hostname = v; }
    void setName(const std::string& v) { m_name = v; }
    void setType(const std::string& v) { m_type = v; }

    std::string toString() const;

private:
    std::string m_id;
    std::string m_url;
    std::string m_hostname;
    std::string m_name;
    std::string m_type;
};

}  // namespace tessel
