#include "Provisioning.h"

#include <regex>

#include <boost/property_tree/ptree.hpp>

#include "JsonText.h"
#include "ZepLog.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/Provisioning";

namespace {
using boost::property_tree::ptree;

std::string errorOf(const HttpClient::Response& response) {
    if (!response.error.empty()) return response.error;
    ptree tree;
    std::string detail;
    if (parseJson(response.body, tree)) detail = tree.get<std::string>("error", "");
    return "HTTP " + std::to_string(response.status) + (detail.empty() ? "" : " " + detail);
}
}  // namespace

std::string Provisioning::baseUrl(const std::string& entry) {
    // host[:port] or https://host[:port][/path]: no user info, query or spaces.
    static const std::regex kShape(
        "(https://)?(\\[[0-9A-Fa-f:.]+\\]|[A-Za-z0-9.-]+)(:[0-9]{1,5})?(/[A-Za-z0-9._~/-]*)?");
    std::smatch match;
    if (entry.size() > 512 || !std::regex_match(entry, match, kShape)) return std::string();
    std::string base = "https://" + match[2].str() + match[3].str() + match[4].str();
    while (!base.empty() && base.back() == '/') base.pop_back();
    return base;
}

void Provisioning::setServers(const std::vector<std::string>& entries) {
    m_bases.clear();
    for (const std::string& entry : entries) {
        const std::string base = baseUrl(entry);
        if (base.empty()) {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "provisioning server ignored [" << entry << "]: not host[:port]");
            continue;
        }
        m_bases.push_back(base);
    }
}

void Provisioning::domainSettings(const std::string& domain, SettingsCallback callback) {
    cancel();
    askServer(0, domain, std::move(callback));
}

void Provisioning::askServer(size_t index, const std::string& domain, SettingsCallback callback) {
    if (index >= m_bases.size()) {
        callback(false, DomainSettings(), "no provisioning server answered");
        return;
    }
    HttpClient::Request request;
    request.url = m_bases[index] + "/v1/domains/" + HttpClient::percentEncode(domain);
    m_request = m_http.send(request, [this, index, domain, callback](const HttpClient::Response& response) {
        m_request = 0;
        DomainSettings settings;
        std::string error;
        if (response.status == 404) {
            // Known to the service as not its own: sign in with a password.
            m_activeBase = m_bases[index];
            settings.signIn = "password";
            callback(true, settings, std::string());
            return;
        }
        if (response.status != 200) {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "provisioning server [" << m_bases[index] << "]: " << errorOf(response));
            askServer(index + 1, domain, callback);
            return;
        }
        if (!parseDomainSettings(response.body, settings, error)) {
            callback(false, settings, "provisioning answer not understood: " + error);
            return;
        }
        m_activeBase = m_bases[index];
        callback(true, settings, std::string());
    });
}

void Provisioning::sipCredentials(const std::string& accessToken, CredentialsCallback callback) {
    if (m_activeBase.empty()) {
        callback(0, SipCredentials(), "no provisioning server");
        return;
    }
    HttpClient::Request request;
    request.method = "POST";
    request.url = m_activeBase + "/v1/sip-credentials";
    request.headers.push_back("Authorization: Bearer " + accessToken);
    m_request = m_http.send(request, [this, callback](const HttpClient::Response& response) {
        m_request = 0;
        SipCredentials credentials;
        std::string error;
        if (response.status != 200) {
            callback(response.status, credentials, errorOf(response));
            return;
        }
        if (!parseSipCredentials(response.body, credentials, error)) {
            callback(0, credentials, "credentials answer not understood: " + error);
            return;
        }
        callback(200, credentials, std::string());
    });
}

void Provisioning::cancel() {
    if (m_request != 0) m_http.cancel(m_request);
    m_request = 0;
}

bool Provisioning::parseDomainSettings(const std::string& json, DomainSettings& settings, std::string& error) {
    ptree tree;
    if (!parseJson(json, tree)) {
        error = "not JSON";
        return false;
    }
    settings = DomainSettings();
    settings.signIn = tree.get<std::string>("signIn", "password");
    if (settings.signIn != "oidc" && settings.signIn != "password") {
        error = "unknown sign-in [" + settings.signIn + "]";
        return false;
    }
    if (auto registrars = tree.get_child_optional("registrars")) {
        for (const auto& r : *registrars) settings.registrars.push_back(r.second.data());
    }
    if (settings.signIn == "password") return true;
    settings.issuer = tree.get<std::string>("issuer", "");
    settings.clientId = tree.get<std::string>("clientId", "");
    settings.redirectUri = tree.get<std::string>("redirectUri", "");
    settings.scopes = tree.get<std::string>("scopes", "openid email");
    if (settings.issuer.compare(0, 8, "https://") != 0 || settings.clientId.empty() || settings.redirectUri.empty()) {
        error = "issuer (https), clientId and redirectUri are required";
        return false;
    }
    if (settings.scopes.find("openid") == std::string::npos) settings.scopes = "openid " + settings.scopes;
    return true;
}

bool Provisioning::parseSipCredentials(const std::string& json, SipCredentials& credentials, std::string& error) {
    ptree tree;
    if (!parseJson(json, tree)) {
        error = "not JSON";
        return false;
    }
    credentials = SipCredentials();
    credentials.user = tree.get<std::string>("user", "");
    credentials.domain = tree.get<std::string>("domain", "");
    credentials.username = tree.get<std::string>("username", "");
    credentials.password = tree.get<std::string>("password", "");
    credentials.expiresIn = jsonInteger(tree, "expiresIn", 0);
    if (credentials.user.empty() || credentials.domain.empty() || credentials.username.empty() ||
        credentials.password.empty() || credentials.expiresIn <= 0) {
        error = "user, domain, username, password and a positive expiresIn are required";
        return false;
    }
    return true;
}

}  // namespace zep
}  // namespace tessel
