#pragma once

#include <string>
#include <vector>

// The selected device and its active line.
class ZepDeviceAndPhoneInfo {
public:
    std::string getName() const { return m_name; }
    std::string getDescription() const { return m_description; }
    std::string getModel() const { return m_model; }
    std::string getModelDescription() const { return m_modelDescription; }
    bool isSoftPhone() const { return m_softPhone; }
    bool isDeskPhone() const { return m_deskPhone; }
    bool getDNDState() const { return m_dnd; }
    int getDNDReason() const { return m_dndReason; }
    std::vector<std::string> getLines() const { return m_lines; }
    bool isActiveLine() const { return m_activeLine; }
    std::string getLineNumber() const { return m_lineNumber; }
    std::string getLineName() const { return m_lineName; }

    void setName(const std::string& v) { m_name = v; }
    void setDescription(const std::string& v) { m_description = v; }
    void setModel(const std::string& v) { m_model = v; }
    void setModelDescription(const std::string& v) { m_modelDescription = v; }
    void setSoftPhone(bool v) { m_softPhone = v; }
    void setDeskPhone(bool v) { m_deskPhone = v; }
    void setDNDState(bool v) { m_dnd = v; }
    void setDNDReason(int v) { m_dndReason = v; }
    void setLines(const std::vector<std::string>& v) { m_lines = v; }
    void setActiveLine(bool v) { m_activeLine = v; }
    void setLineNumber(const std::string& v) { m_lineNumber = v; }
    void setLineName(const std::string& v) { m_lineName = v; }

private:
    std::string m_name;
    std::string m_description;
    std::string m_model;
    std::string m_modelDescription;
    bool m_softPhone = false;
    bool m_deskPhone = false;
    bool m_dnd = false;
    int m_dndReason = 0;
    std::vector<std::string> m_lines;
    bool m_activeLine = false;
    std::string m_lineNumber;
    std::string m_lineName;
};
