#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "HttpClient.h"

namespace tessel {
namespace zep {

// The provisioning service ("TftpAddressList"): how a SIP domain signs in,
// and short-lived SIP credentials for a user signed in at the domain's
// identity provider. The protocol is in docs/telephony.md.
class Provisioning {
public:
    struct DomainSettings {
        std::string signIn;  // "oidc" or "password"
        std::string issuer;
        std::string clientId;
        std::string redirectUri;
        std::string scopes;
        std::vector<std::string> registrars;
    };
    struct SipCredentials {
        std::string user;      // the SIP identity's user part
        std::string domain;    // and its domain
        std::string username;  // the digest user name, "EXPIRY:USER"
        std::string password;
        int64_t expiresIn = 0;  // seconds
    };
    // ok false: error says why (an unreachable service, a refusal, a bad answer).
    typedef std::function<void(bool ok, const DomainSettings&, const std::string& error)> SettingsCallback;
    // status is the service's HTTP status (401: the access token was refused), 0 without an answer.
    typedef std::function<void(long status, const SipCredentials&, const std::string& error)> CredentialsCallback;

    explicit Provisioning(HttpClient& http) : m_http(http) {}

    // Entries as pages give them: "host[:port]" or "https://host[:port][/path]".
    void setServers(const std::vector<std::string>& entries);
    bool configured() const { return !m_bases.empty(); }

    // Asks each server in turn until one answers; a domain no server knows
    // comes back ok with signIn "password".
    void domainSettings(const std::string& domain, SettingsCallback callback);
    // Asks the server that answered for the domain.
    void sipCredentials(const std::string& accessToken, CredentialsCallback callback);
    void cancel();

    // The base address of a server entry, "" when it is not one.
    static std::string baseUrl(const std::string& entry);
    static bool parseDomainSettings(const std::string& json, DomainSettings& settings, std::string& error);
    static bool parseSipCredentials(const std::string& json, SipCredentials& credentials, std::string& error);

private:
    void askServer(size_t index, const std::string& domain, SettingsCallback callback);

    HttpClient& m_http;
    std::vector<std::string> m_bases;
    std::string m_activeBase;
    unsigned m_request = 0;
};

}  // namespace zep
}  // namespace tessel
