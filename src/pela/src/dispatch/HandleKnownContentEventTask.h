#pragma once

#include <memory>
#include <string>

#include "dispatch/TaskImpl.h"
#include "messages/Ptree.h"

namespace tessel {

// Lets code off the handler thread (framework observers) send an event from it.
class HandleKnownContentEventTask : public TaskImpl {
public:
    void setEventName(const std::string& name) { m_eventName = name; }
    const std::string& getEventName() const { return m_eventName; }
    void setContent(std::shared_ptr<Ptree> content) { m_spContent = content; }
    std::shared_ptr<Ptree> getContent() const { return m_spContent; }
    void setContentStringValue(const std::string& text);
    void execute() override;

private:
    std::string m_eventName;
    std::shared_ptr<Ptree> m_spContent;
};

}  // namespace tessel
