#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "FrameworkContext.h"
#include "HttpClient.h"
#include "Provisioning.h"

namespace tessel {
namespace zep {

// Sign-in through the domain's OpenID provider (authorization code with
// PKCE, the host as a public client), the provider session that follows, and
// the short-lived SIP credentials it buys from the provisioning service,
// renewed before they run out. The page shows the provider's pages and
// reports where they ended; everything else happens here, on the pumping
// thread. Tokens, codes and the verifier never reach the log; the refresh
// token is kept on disk only encrypted with the user's key.
class SingleSignOn {
public:
    struct Handlers {
        // New or renewed SIP credentials.
        std::function<void(const Provisioning::SipCredentials&)> credentials;
        // A sign-in that was under way ended without credentials.
        std::function<void(const std::string& why)> ended;
    };

    // Provider session words ("lifecyclessosessionchanged").
    static const char* const kSessionNone;
    static const char* const kSessionInProgress;
    static const char* const kSessionValid;
    static const char* const kSessionExpired;

    SingleSignOn(FrameworkContext context, HttpClient& http, Provisioning& provisioning);
    ~SingleSignOn();
    SingleSignOn(const SingleSignOn&) = delete;
    SingleSignOn& operator=(const SingleSignOn&) = delete;

    void setHandlers(Handlers handlers) { m_handlers = std::move(handlers); }
    // Where the encrypted refresh token is kept ("" keeps nothing).
    void setStateFolder(const std::string& folder) { m_folder = folder; }

    // Signs the address in at the domain's provider: silently with a kept
    // session when the provider still honours it, otherwise through its pages.
    void begin(const std::string& address, const Provisioning::DomainSettings& settings);
    int navigationCompleted(int64_t result, const std::string& url, const std::string& document);
    int restablish();
    int cancel();
    int timeRemaining(int64_t& seconds) const;
    int suppressPrompt();
    int unsuppressPrompt(bool promptIfExpired);
    // The registrar refused the credentials: true when new ones are being
    // asked for, false when fresh ones were refused (no use asking again).
    bool credentialsRefused();
    // Forgets tokens and any flow; forgetKept also removes the kept session.
    void reset(bool forgetKept);
    // Deadlines: renewals, refreshes, the session's end.
    void pump();
    // Whether the signed-in account's credentials come from here.
    bool inUse() const { return !m_settings.issuer.empty(); }

private:
    typedef std::chrono::steady_clock Clock;
    enum class Flow { Idle, Discovering, AwaitingNavigation, Exchanging, Refreshing, Fetching };

    void discover(std::function<void()> then);
    void startAuthorization();
    void exchangeCode(const std::string& code);
    void refresh(bool silentSignIn);
    void onTokens(const HttpClient::Response& response, bool interactive);
    void fetchCredentials();
    void endFlow(const char* result, const std::string& why, bool signInRequired);
    void sessionGone();
    void setSession(const char* state);
    void setCanCancel(bool canCancel);
    void showWindow(bool show);
    void keepRefreshToken();
    bool keptRefreshToken(std::string& token) const;
    void forgetKept();
    std::string keptPath() const;
    bool atRedirect(const std::string& url) const;

    FrameworkContext m_context;
    HttpClient& m_http;
    Provisioning& m_provisioning;
    Handlers m_handlers;
    std::string m_folder;

    std::string m_address;
    Provisioning::DomainSettings m_settings;
    // The provider's published addresses and keys.
    std::string m_discoveredIssuer;
    std::string m_authorizationEndpoint;
    std::string m_tokenEndpoint;
    std::string m_jwksUri;
    std::string m_jwks;
    bool m_keysRefetched = false;

    Flow m_flow = Flow::Idle;
    unsigned m_request = 0;
    bool m_windowShown = false;
    bool m_canCancel = false;
    std::string m_state;
    std::string m_nonce;
    std::string m_verifier;

    std::string m_session;
    std::string m_accessToken;
    std::string m_refreshToken;
    Clock::time_point m_accessExpiry;
    int64_t m_accessLifetime = 0;
    bool m_haveCredentials = false;
    bool m_credentialsDue = false;  // fetch them once the token is refreshed
    Clock::time_point m_renewAt;
    Clock::time_point m_credentialsAt;
    Clock::time_point m_retryAt;
    bool m_promptSuppressed = false;
};

}  // namespace zep
}  // namespace tessel
