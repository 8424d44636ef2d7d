#include "clients/ClientInfo.h"

#include <sstream>

namespace tessel {

namespace {
const char* boolText(bool value) {
    return value ? "true" : "false";
}
}  // namespace

AuthStatus ClientInfo::getAuthStatus() const {
    // Denial wins over everything: a client denied after being authorized stays out.
    if (m_isDenied) {
        return UserDenied;
    }
    if (m_isAuthorized) {
        return UserAuthorized;
    }
    if (m_isAuthPending) {
        return UserAuthPending;
    }
    return MustShowAuth;
}

std::string ClientInfo::toString() const {
    std::ostringstream os;
    os << "id=[" << m_id << "]";
    if (!m_url.empty()) {
        os << " url=[" << m_url << "]";
    }
    if (!m_hostname.empty()) {
        os << " hostname=[" << m_hostname << "]";
    }
    if (!m_name.empty()) {
        os << " name=[" << m_name << "]";
    }
    if (m_isChrome) {
        os << " isChrome=true";
    }
    os << " authorized=" << boolText(m_isAuthorized) << " denied=" << boolText(m_isDenied)
       << " authPending=" << boolText(m_isAuthPending);
    return os.str();
}

}  // namespace tessel
