#include "SingleSignOn.h"

#include <fcntl.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <map>
#include <sstream>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <zepwrapper/ZepLoginObserver.h>

#include "IdToken.h"
#include "JsonText.h"
#include "PasswordVault.h"
#include "Pkce.h"
#include "zepwrapper/ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/SingleSignOn";

const char* const SingleSignOn::kSessionNone = "None";
const char* const SingleSignOn::kSessionInProgress = "InProgress";
const char* const SingleSignOn::kSessionValid = "Valid";
const char* const SingleSignOn::kSessionExpired = "Expired";

namespace {
using boost::property_tree::ptree;

// Authentication status and result words.
const char* const kNotAuthenticated = "NotAuthenticated";
const char* const kAuthenticated = "Authenticated";
const char* const kResultSuccess = "Success";
const char* const kResultCancelled = "Cancelled";
const char* const kResultProviderError = "ProviderError";
const char* const kResultInvalidResponse = "InvalidResponse";
const char* const kResultUnavailable = "ServiceUnavailable";

// "ssoNavigationCompleted" results.
const int64_t kNavigationReached = 0;
const int64_t kNavigationClosed = 1;

// A renewal that failed for want of an answer is tried again after this.
const std::chrono::seconds kRetryAfter(10);
// An access token is refreshed this long before it ends (at most a quarter of its life).
const int64_t kRefreshMargin = 60;

// The query parameters of an address (after "?", before "#"), or of its fragment.
std::map<std::string, std::string> parameters(const std::string& url, bool fragment) {
    std::map<std::string, std::string> out;
    size_t start;
    size_t end;
    if (fragment) {
        start = url.find('#');
        end = url.size();
    } else {
        start = url.find('?');
        end = url.find('#');
        if (end == std::string::npos || end < start) end = url.size();
    }
    if (start == std::string::npos) return out;
    std::istringstream in(url.substr(start + 1, end - start - 1));
    std::string pair;
    while (std::getline(in, pair, '&')) {
        const size_t eq = pair.find('=');
        const std::string key = HttpClient::percentDecode(pair.substr(0, eq));
        const std::string value = eq == std::string::npos ? "" : HttpClient::percentDecode(pair.substr(eq + 1));
        if (!key.empty() && out.find(key) == out.end()) out[key] = value;
    }
    return out;
}

// The part of an address that must match the redirect address: up to "?" or "#".
std::string withoutQuery(const std::string& url) {
    return url.substr(0, url.find_first_of("?#"));
}

int64_t unixNow() {
    return static_cast<int64_t>(std::time(nullptr));
}
}  // namespace

SingleSignOn::SingleSignOn(FrameworkContext context, HttpClient& http, Provisioning& provisioning)
    : m_context(context), m_http(http), m_provisioning(provisioning), m_session(kSessionNone) {}

SingleSignOn::~SingleSignOn() {
    if (m_request != 0) m_http.cancel(m_request);
}

// --- The flow ------------------------------------------------------------------

void SingleSignOn::begin(const std::string& address, const Provisioning::DomainSettings& settings) {
    reset(false);
    m_address = address;
    m_settings = settings;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "sign-in through [" << settings.issuer << "] for [" << address << "]");
    setSession(kSessionInProgress);
    setCanCancel(true);
    std::string kept;
    if (keptRefreshToken(kept)) {
        // A session kept from an earlier run: no window if the provider still honours it.
        m_refreshToken = kept;
        discover([this] { refresh(true); });
        return;
    }
    discover([this] { startAuthorization(); });
}

void SingleSignOn::discover(std::function<void()> then) {
    if (m_discoveredIssuer == m_settings.issuer && !m_jwks.empty()) {
        then();
        return;
    }
    m_flow = Flow::Discovering;
    HttpClient::Request request;
    request.url = m_settings.issuer + "/.well-known/openid-configuration";
    m_request = m_http.send(request, [this, then](const HttpClient::Response& response) {
        m_request = 0;
        ptree doc;
        if (response.status != 200 || !parseJson(response.body, doc)) {
            endFlow(kResultUnavailable, "The identity provider cannot be reached", true);
            return;
        }
        // The document must speak for the issuer we were told of, over https only.
        const std::string issuer = doc.get<std::string>("issuer", "");
        const std::string authorization = doc.get<std::string>("authorization_endpoint", "");
        const std::string token = doc.get<std::string>("token_endpoint", "");
        const std::string jwks = doc.get<std::string>("jwks_uri", "");
        if (issuer != m_settings.issuer || authorization.compare(0, 8, "https://") != 0 ||
            token.compare(0, 8, "https://") != 0 || jwks.compare(0, 8, "https://") != 0) {
            endFlow(kResultInvalidResponse, "The identity provider's configuration is not valid", true);
            return;
        }
        m_authorizationEndpoint = authorization;
        m_tokenEndpoint = token;
        m_jwksUri = jwks;
        HttpClient::Request keys;
        keys.url = m_jwksUri;
        m_request = m_http.send(keys, [this, issuer, then](const HttpClient::Response& answer) {
            m_request = 0;
            if (answer.status != 200) {
                endFlow(kResultUnavailable, "The identity provider's keys cannot be had", true);
                return;
            }
            m_jwks = answer.body;
            m_discoveredIssuer = issuer;
            m_keysRefetched = false;
            then();
        });
    });
}

void SingleSignOn::startAuthorization() {
    m_state = Pkce::randomToken();
    m_nonce = Pkce::randomToken();
    m_verifier = Pkce::randomToken(48);
    if (m_state.empty() || m_nonce.empty() || m_verifier.empty()) {
        endFlow(kResultInvalidResponse, "No random numbers for the sign-in", true);
        return;
    }
    std::vector<std::pair<std::string, std::string>> fields = {{"response_type", "code"},
                                                               {"client_id", m_settings.clientId},
                                                               {"redirect_uri", m_settings.redirectUri},
                                                               {"scope", m_settings.scopes},
                                                               {"state", m_state},
                                                               {"nonce", m_nonce},
                                                               {"code_challenge", Pkce::challenge(m_verifier)},
                                                               {"code_challenge_method", "S256"},
                                                               {"login_hint", m_address}};
    // A refresh token (offline_access) is only granted with the user's consent asked for.
    if (m_settings.scopes.find("offline_access") != std::string::npos) fields.push_back({"prompt", "consent"});
    const std::string query = HttpClient::formEncode(fields);
    const std::string url =
        m_authorizationEndpoint + (m_authorizationEndpoint.find('?') == std::string::npos ? "?" : "&") + query;
    m_flow = Flow::AwaitingNavigation;
    showWindow(true);
    m_context.deliver<ZepLoginObserver>("onSSONavigateTo", [&](ZepLoginObserver& o) { o.onSSONavigateTo(url); });
}

bool SingleSignOn::atRedirect(const std::string& url) const {
    return !m_settings.redirectUri.empty() && withoutQuery(url) == withoutQuery(m_settings.redirectUri);
}

int SingleSignOn::navigationCompleted(int64_t result, const std::string& url, const std::string& document) {
    if (m_flow != Flow::AwaitingNavigation) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "ssoNavigationCompleted: no sign-in page is waiting");
        return ApiReturnCodeEnum::eInvalidState;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc,
            "ssoNavigationCompleted result [" << result << "] document [" << document.size() << "] bytes");
    if (result == kNavigationClosed) {
        endFlow(kResultCancelled, "The sign-in window was closed", false);
        return ApiReturnCodeEnum::eNoError;
    }
    if (result != kNavigationReached) {
        endFlow(kResultProviderError, "The sign-in pages could not be shown (" + std::to_string(result) + ")", true);
        return ApiReturnCodeEnum::eNoError;
    }
    if (!atRedirect(url)) {
        // A page on the way, not the end: the flow goes on.
        ZEP_LOG(OZKLogLevelInfo, kSrc, "ssoNavigationCompleted: not at the redirect address yet");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    std::map<std::string, std::string> params = parameters(url, false);
    if (params.empty()) params = parameters(url, true);
    // The state first: an answer that is not for this flow is not looked at further.
    if (params["state"] != m_state) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "ssoNavigationCompleted: state does not match this sign-in");
        endFlow(kResultInvalidResponse, "The sign-in answer was not for this sign-in", true);
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    if (!params["error"].empty()) {
        const std::string error = params["error"];
        const std::string description = params["error_description"];
        ZEP_LOG(OZKLogLevelInfo, kSrc, "the identity provider answered [" << error << "]");
        endFlow(kResultProviderError,
                "The identity provider refused the sign-in: " + error +
                    (description.empty() ? "" : " (" + description + ")"),
                true);
        return ApiReturnCodeEnum::eNoError;
    }
    if (params["code"].empty()) {
        endFlow(kResultInvalidResponse, "The sign-in answer carries no code", true);
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    showWindow(false);
    exchangeCode(params["code"]);
    return ApiReturnCodeEnum::eNoError;
}

void SingleSignOn::exchangeCode(const std::string& code) {
    m_flow = Flow::Exchanging;
    HttpClient::Request request;
    request.method = "POST";
    request.url = m_tokenEndpoint;
    request.headers.push_back("Content-Type: application/x-www-form-urlencoded");
    request.body = HttpClient::formEncode({{"grant_type", "authorization_code"},
                                           {"code", code},
                                           {"redirect_uri", m_settings.redirectUri},
                                           {"client_id", m_settings.clientId},
                                           {"code_verifier", m_verifier}});
    m_request = m_http.send(request, [this](const HttpClient::Response& response) {
        m_request = 0;
        onTokens(response, true);
    });
}

void SingleSignOn::refresh(bool silentSignIn) {
    m_flow = Flow::Refreshing;
    HttpClient::Request request;
    request.method = "POST";
    request.url = m_tokenEndpoint;
    request.headers.push_back("Content-Type: application/x-www-form-urlencoded");
    request.body = HttpClient::formEncode(
        {{"grant_type", "refresh_token"}, {"refresh_token", m_refreshToken}, {"client_id", m_settings.clientId}});
    m_request = m_http.send(request, [this, silentSignIn](const HttpClient::Response& response) {
        m_request = 0;
        m_flow = Flow::Idle;
        if (response.status == 200) {
            onTokens(response, false);
            return;
        }
        const bool refused = response.status >= 400 && response.status < 500;
        if (silentSignIn) {
            // The kept session is over: sign in through the pages instead.
            ZEP_LOG(OZKLogLevelInfo, kSrc, "kept provider session not honoured [" << response.status << "]");
            m_refreshToken.clear();
            forgetKept();
            startAuthorization();
            return;
        }
        if (refused) {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "the identity provider ended the session [" << response.status << "]");
            sessionGone();
            return;
        }
        // No answer: try again a little later, the access token may still serve.
        m_retryAt = Clock::now() + kRetryAfter;
    });
}

void SingleSignOn::onTokens(const HttpClient::Response& response, bool interactive) {
    ptree doc;
    if (response.status != 200 || !parseJson(response.body, doc)) {
        std::string error = response.error;
        if (error.empty() && parseJson(response.body, doc)) error = doc.get<std::string>("error", "");
        ZEP_LOG(OZKLogLevelWarning, kSrc, "the code was not exchanged [" << response.status << "] [" << error << "]");
        endFlow(kResultProviderError, "The identity provider refused the code: " + error, true);
        return;
    }
    const std::string access = doc.get<std::string>("access_token", "");
    const std::string idToken = doc.get<std::string>("id_token", "");
    if (access.empty() || (interactive && idToken.empty())) {
        endFlow(kResultInvalidResponse, "The identity provider's answer lacks tokens", true);
        return;
    }
    if (interactive) {
        IdToken::Expected expected;
        expected.issuer = m_settings.issuer;
        expected.audience = m_settings.clientId;
        expected.nonce = m_nonce;
        expected.now = unixNow();
        IdToken::Claims claims;
        std::string keyId;
        IdToken::Result result = IdToken::verify(idToken, m_jwks, expected, claims, keyId);
        if (result == IdToken::Result::UnknownKey && !m_keysRefetched) {
            // The provider may have rotated its keys since we fetched them.
            m_keysRefetched = true;
            m_discoveredIssuer.clear();
            m_jwks.clear();
            const HttpClient::Response copy = response;
            discover([this, copy] { onTokens(copy, true); });
            return;
        }
        if (result != IdToken::Result::Valid) {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "ID token refused: " << IdToken::describe(result));
            endFlow(kResultInvalidResponse,
                    std::string("The identity provider's answer is not valid: ") + IdToken::describe(result), true);
            return;
        }
        ZEP_LOG(OZKLogLevelInfo, kSrc, "signed in at the provider as [" << claims.email << "]");
        if (m_haveCredentials) {
            // Re-established while signed in: the line never went, so no new "loggedin".
            m_context.deliver<ZepLoginObserver>("onAuthenticationStatusChanged", [](ZepLoginObserver& o) {
                o.onAuthenticationStatusChanged(kAuthenticated, kResultSuccess);
            });
        }
    }
    m_state.clear();
    m_nonce.clear();
    m_verifier.clear();
    m_accessToken = access;
    const std::string refreshToken = doc.get<std::string>("refresh_token", "");
    if (!refreshToken.empty()) m_refreshToken = refreshToken;
    m_accessLifetime = std::max<int64_t>(jsonInteger(doc, "expires_in", 300), 1);
    m_accessExpiry = Clock::now() + std::chrono::seconds(m_accessLifetime);
    m_retryAt = Clock::time_point();
    keepRefreshToken();
    const bool wasValid = m_session == kSessionValid;
    setSession(kSessionValid);
    setCanCancel(false);
    if (!wasValid || interactive || m_credentialsDue) {
        m_credentialsDue = false;
        fetchCredentials();
    } else {
        m_flow = Flow::Idle;
    }
}

void SingleSignOn::fetchCredentials() {
    m_flow = Flow::Fetching;
    m_provisioning.sipCredentials(
        m_accessToken, [this](long status, const Provisioning::SipCredentials& credentials, const std::string& error) {
            m_flow = Flow::Idle;
            if (status == 200) {
                m_haveCredentials = true;
                m_credentialsAt = Clock::now();
                // Renewed while a quarter of their life (at most five minutes) is left.
                const int64_t margin = std::min<int64_t>(300, credentials.expiresIn / 4);
                m_renewAt = Clock::now() + std::chrono::seconds(credentials.expiresIn - margin);
                ZEP_LOG(OZKLogLevelInfo, kSrc,
                        "SIP credentials for [" << credentials.user << "@" << credentials.domain << "] for ["
                                                << credentials.expiresIn << "] s");
                if (m_handlers.credentials) m_handlers.credentials(credentials);
                return;
            }
            ZEP_LOG(OZKLogLevelWarning, kSrc, "no SIP credentials: " << error);
            if (!m_haveCredentials) {
                endFlow(kResultUnavailable, "No SIP credentials: " + error, true);
                return;
            }
            if (status == 401 && !m_refreshToken.empty()) {
                m_credentialsDue = true;
                refresh(false);
                return;
            }
            // Still registered on the old ones: try again soon.
            m_renewAt = Clock::now() + kRetryAfter;
        });
}

void SingleSignOn::endFlow(const char* result, const std::string& why, bool signInRequired) {
    if (m_request != 0) m_http.cancel(m_request);
    m_request = 0;
    m_provisioning.cancel();
    m_flow = Flow::Idle;
    m_state.clear();
    m_nonce.clear();
    m_verifier.clear();
    ZEP_LOG(OZKLogLevelInfo, kSrc, "sign-in through the provider ended [" << result << "]: " << why);
    showWindow(false);
    setCanCancel(false);
    const std::string resultText = result;
    m_context.deliver<ZepLoginObserver>("onAuthenticationStatusChanged", [&](ZepLoginObserver& o) {
        o.onAuthenticationStatusChanged(kNotAuthenticated, resultText);
    });
    setSession(m_accessToken.empty() ? kSessionNone : kSessionValid);
    if (signInRequired) {
        auto errors = std::make_shared<std::vector<std::string>>(1, why);
        m_context.deliver<ZepLoginObserver>("onSSOSignInRequired",
                                            [&](ZepLoginObserver& o) { o.onSSOSignInRequired(errors); });
    }
    if (!m_haveCredentials && m_handlers.ended) m_handlers.ended(why);
}

int SingleSignOn::restablish() {
    if (!inUse()) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "restablishSSOSession: no address signs in through a provider");
        return ApiReturnCodeEnum::eInvalidState;
    }
    if (m_flow != Flow::Idle) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "restablishSSOSession: a sign-in is already under way");
        return ApiReturnCodeEnum::eInvalidState;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, "restablishSSOSession for [" << m_address << "]");
    setSession(kSessionInProgress);
    setCanCancel(true);
    discover([this] { startAuthorization(); });
    return ApiReturnCodeEnum::eNoError;
}

int SingleSignOn::cancel() {
    if (m_flow == Flow::Idle || m_flow == Flow::Refreshing || !m_canCancel) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "cancelSingleSignOn: no sign-in under way");
        return ApiReturnCodeEnum::eInvalidState;
    }
    endFlow(kResultCancelled, "Cancelled", false);
    return ApiReturnCodeEnum::eNoError;
}

// --- The session ----------------------------------------------------------------

int SingleSignOn::timeRemaining(int64_t& seconds) const {
    seconds = 0;
    if (m_accessToken.empty()) return ApiReturnCodeEnum::eNoError;
    const auto left = std::chrono::duration_cast<std::chrono::seconds>(m_accessExpiry - Clock::now()).count();
    seconds = left > 0 ? left : 0;
    return ApiReturnCodeEnum::eNoError;
}

int SingleSignOn::suppressPrompt() {
    ZEP_LOG(OZKLogLevelInfo, kSrc, "session expiry prompt suppressed");
    m_promptSuppressed = true;
    return ApiReturnCodeEnum::eNoError;
}

int SingleSignOn::unsuppressPrompt(bool promptIfExpired) {
    ZEP_LOG(OZKLogLevelInfo, kSrc, "session expiry prompt allowed, promptIfExpired [" << promptIfExpired << "]");
    m_promptSuppressed = false;
    if (promptIfExpired && m_session == kSessionExpired) {
        m_context.queue.post([this] {
            m_context.deliver<ZepLoginObserver>("onSSOSessionExpiryPromptRequired",
                                                [](ZepLoginObserver& o) { o.onSSOSessionExpiryPromptRequired(); });
        });
    }
    return ApiReturnCodeEnum::eNoError;
}

bool SingleSignOn::credentialsRefused() {
    if (!m_haveCredentials) return false;
    // Refused though just issued: the registrar and the service disagree, and
    // asking again would only loop.
    if (Clock::now() - m_credentialsAt < std::chrono::seconds(10)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "the registrar refused credentials just issued");
        return false;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, "the registrar refused the credentials: asking for new ones");
    m_renewAt = Clock::now();
    return true;
}

void SingleSignOn::sessionGone() {
    // The provider will not renew anything: the user must start over.
    m_accessToken.clear();
    m_refreshToken.clear();
    forgetKept();
    setSession(kSessionExpired);
    m_context.deliver<ZepLoginObserver>("onSSOInvokeResetData", [](ZepLoginObserver& o) { o.onSSOInvokeResetData(); });
}

void SingleSignOn::pump() {
    if (m_settings.issuer.empty() || m_flow != Flow::Idle) return;
    const Clock::time_point now = Clock::now();
    if (m_retryAt != Clock::time_point() && now < m_retryAt) return;
    if (!m_accessToken.empty()) {
        const int64_t margin = std::min<int64_t>(kRefreshMargin, m_accessLifetime / 4);
        if (!m_refreshToken.empty() && now >= m_accessExpiry - std::chrono::seconds(margin)) {
            refresh(false);
            return;
        }
        if (m_refreshToken.empty() && now >= m_accessExpiry && m_session == kSessionValid) {
            ZEP_LOG(OZKLogLevelInfo, kSrc, "the provider session has ended");
            m_accessToken.clear();
            setSession(kSessionExpired);
            if (!m_promptSuppressed) {
                m_context.deliver<ZepLoginObserver>("onSSOSessionExpiryPromptRequired",
                                                    [](ZepLoginObserver& o) { o.onSSOSessionExpiryPromptRequired(); });
            }
            return;
        }
    }
    if (m_haveCredentials && now >= m_renewAt) {
        if (m_accessToken.empty()) {
            // Nothing to buy them with; the registrar ends it when they run out.
            m_renewAt = now + kRetryAfter;
            return;
        }
        fetchCredentials();
    }
}

void SingleSignOn::reset(bool forgetKeptSession) {
    if (m_request != 0) m_http.cancel(m_request);
    m_request = 0;
    m_provisioning.cancel();
    if (m_windowShown) showWindow(false);
    if (m_canCancel) setCanCancel(false);
    m_flow = Flow::Idle;
    m_state.clear();
    m_nonce.clear();
    m_verifier.clear();
    m_accessToken.clear();
    m_refreshToken.clear();
    m_haveCredentials = false;
    m_credentialsDue = false;
    m_retryAt = Clock::time_point();
    m_settings = Provisioning::DomainSettings();
    if (forgetKeptSession) forgetKept();
    setSession(kSessionNone);
}

// --- Events ----------------------------------------------------------------------

void SingleSignOn::setSession(const char* state) {
    if (m_session == state) return;
    m_session = state;
    const std::string copy = state;
    m_context.deliver<ZepLoginObserver>("onLifeCycleSSOSessionChanged",
                                        [&](ZepLoginObserver& o) { o.onLifeCycleSSOSessionChanged(copy); });
}

void SingleSignOn::setCanCancel(bool canCancel) {
    if (m_canCancel == canCancel) return;
    m_canCancel = canCancel;
    m_context.deliver<ZepLoginObserver>("onCanCancelSingleSignOnChanged",
                                        [&](ZepLoginObserver& o) { o.onCanCancelSingleSignOnChanged(canCancel); });
}

void SingleSignOn::showWindow(bool show) {
    if (m_windowShown == show) return;
    m_windowShown = show;
    m_context.deliver<ZepLoginObserver>("onSSOShowWindow", [&](ZepLoginObserver& o) { o.onSSOShowWindow(show); });
}

// --- The kept session -------------------------------------------------------------

std::string SingleSignOn::keptPath() const {
    return m_folder.empty() ? std::string() : m_folder + "/sso-session.json";
}

void SingleSignOn::keepRefreshToken() {
    const std::string path = keptPath();
    if (path.empty()) return;
    if (m_refreshToken.empty()) {
        forgetKept();
        return;
    }
    std::string sealed;
    std::string error;
    if (!PasswordVault::encrypt(m_refreshToken, sealed, error)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "provider session not kept: " << error);
        return;
    }
    ptree doc;
    doc.put("address", m_address);
    doc.put("issuer", m_settings.issuer);
    doc.put("clientId", m_settings.clientId);
    doc.put("refreshToken", sealed);
    std::ostringstream text;
    boost::property_tree::write_json(text, doc, false);
    // Written aside and renamed: a crash leaves the old file or the new, never half.
    const std::string temp = path + ".new";
    const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "provider session not kept: cannot write [" << temp << "]");
        return;
    }
    const std::string data = text.str();
    const bool written = write(fd, data.data(), data.size()) == static_cast<ssize_t>(data.size());
    const bool synced = fsync(fd) == 0;
    close(fd);
    if (!written || !synced || rename(temp.c_str(), path.c_str()) != 0) {
        unlink(temp.c_str());
        ZEP_LOG(OZKLogLevelWarning, kSrc, "provider session not kept: cannot write [" << path << "]");
    }
}

bool SingleSignOn::keptRefreshToken(std::string& token) const {
    token.clear();
    const std::string path = keptPath();
    if (path.empty()) return false;
    std::ifstream in(path);
    if (!in) return false;
    std::stringstream text;
    text << in.rdbuf();
    ptree doc;
    std::string error;
    if (!parseJson(text.str(), doc) || doc.get<std::string>("address", "") != m_address ||
        doc.get<std::string>("issuer", "") != m_settings.issuer ||
        doc.get<std::string>("clientId", "") != m_settings.clientId) {
        return false;
    }
    if (!PasswordVault::decrypt(doc.get<std::string>("refreshToken", ""), token, error)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "kept provider session unreadable: " << error);
        token.clear();
        return false;
    }
    return true;
}

void SingleSignOn::forgetKept() {
    const std::string path = keptPath();
    if (!path.empty()) unlink(path.c_str());
}

}  // namespace zep
}  // namespace tessel
