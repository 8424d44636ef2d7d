#pragma once

#include <string>

#include "clients/AuthStatus.h"

namespace tessel {

class ClientInfo {
public:
    const std::string& getId() const { return m_id; }
    const std::string& getUrl() const { return m_url; }
    const std::string& getName() const { return m_name; }
    const std::string& getHostname() const { return m_hostname; }
    bool getIsChrome() const { return m_isChrome; }
    bool getIsAuthorized() const { return m_isAuthorized; }
    bool getIsDenied() const { return m_isDenied; }
    bool getIsAuthPending() const { return m_isAuthPending; }
    void setId(const std::string& v) { m_id = v; }
    void setUrl(const std::string& v) { m_url = v; }
    void setName(const std::string& v) { m_name = v; }
    void setHostname(const std::string& v) { m_hostname = v; }
    void setIsChrome(bool v) { m_isChrome = v; }
    void setIsAuthorized(bool v) { m_isAuthorized = v; }
    void setIsDenied(bool v) { m_isDenied = v; }
    void setIsAuthPending(bool v) { m_isAuthPending = v; }

    // Denied, then authorized, then pending, else must-show.
    AuthStatus getAuthStatus() const;
    std::string toString() const;

private:
    std::string m_id;
    std::string m_url;
    std::string m_name;
    std::string m_hostname;
    bool m_isChrome = false;
    bool m_isAuthorized = false;
    bool m_isDenied = false;
    bool m_isAuthPending = false;
};

}  // namespace tessel
