#pragma once

#include <memory>
#include <string>

#include "messages/Ptree.h"

namespace tessel {

// The request inside an inbound envelope.
class SDKClientMessage {
public:
    const std::string& getName() const { return m_name; }
    const std::string& getMessageId() const { return m_messageId; }
    std::shared_ptr<Ptree> getContent() const { return m_spContent; }
    void setName(const std::string& v) { m_name = v; }
    void setMessageId(const std::string& v) { m_messageId = v; }
    void setContent(std::shared_ptr<Ptree> v) { m_spContent = v; }

    // Never shows the content: it carries passwords and addresses.
    std::string toString() const;

private:
    std::string m_name;
    std::string m_messageId;
    std::shared_ptr<Ptree> m_spContent;
};

}  // namespace tessel
