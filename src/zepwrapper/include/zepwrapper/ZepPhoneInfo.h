#pragma once

#include <string>
#include <vector>

// One device the account can drive (for us: this softphone).
class ZepPhoneInfo {
public:
    std::string getName() const { return m_name; }
    std::string getDescription() const { return m_description; }
    std::string getModel() const { return m_model; }
    std::string getModelDescription() const { return m_modelDescription; }
    bool isSoftPhone() const { return m_softPhone; }
    bool isDeskPhone() const { return m_deskPhone; }
    std::vector<std::string> getLineDNs() const { return m_lineDNs; }

    void setName(const std::string& v) { m_name = v; }
    void setDescription(const std::string& v) { m_description = v; }
    void setModel(const std::string& v) { m_model = v; }
    void setModelDescription(const std::string& v) { m_modelDescription = v; }
    void setSoftPhone(bool v) { m_softPhone = v; }
    void setDeskPhone(bool v) { m_deskPhone = v; }
    void setLineDNs(const std::vector<std::string>& v) { m_lineDNs = v; }

private:
    std::string m_name;
    std::string m_description;
    std::string m_model;
    std::string m_modelDescription;
    bool m_softPhone = false;
    bool m_deskPhone = false;
    std::vector<std::string> m_lineDNs;
};
