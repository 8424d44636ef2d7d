#pragma once

#include <string>

// The far end of a call, as the framework knows it.
class ZepParticipantInfo {
public:
    std::string getName() const { return m_name; }
    std::string getNumber() const { return m_number; }
    std::string getTranslatedNumber() const { return m_translatedNumber; }
    std::string getUri() const { return m_uri; }
    void setName(const std::string& v) { m_name = v; }
    void setNumber(const std::string& v) { m_number = v; }
    void setTranslatedNumber(const std::string& v) { m_translatedNumber = v; }
    void setUri(const std::string& v) { m_uri = v; }

private:
    std::string m_name;
    std::string m_number;
    std::string m_translatedNumber;
    std::string m_uri;
};
