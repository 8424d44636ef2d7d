#pragma once

#include <memory>
#include <string>

#include "messages/Ptree.h"

namespace tessel {

// A reply or an event; every one carries a fresh message id.
class SDKServerMessage {
public:
    SDKServerMessage();

    const std::string& getMessageId() const { return m_messageId; }
    const std::string& getReplyToMessageId() const { return m_replyToMessageId; }
    const std::string& getError() const { return m_error; }
    const std::string& getName() const { return m_name; }
    std::shared_ptr<Ptree> getContent() const { return m_spContent; }
    // The same pointer without a copy (no reference count traffic).
    const std::shared_ptr<Ptree>& content() const { return m_spContent; }
    void setMessageId(const std::string& v) { m_messageId = v; }
    void setReplyToMessageId(const std::string& v) { m_replyToMessageId = v; }
    void setError(const std::string& v) { m_error = v; }
    void setName(const std::string& v) { m_name = v; }
    void setContent(std::shared_ptr<Ptree> v) { m_spContent = v; }

    std::string toString() const;

private:
    std::string m_messageId;
    std::string m_replyToMessageId;
    std::string m_error;
    std::string m_name;
    std::shared_ptr<Ptree> m_spContent;
};

}  // namespace tessel
