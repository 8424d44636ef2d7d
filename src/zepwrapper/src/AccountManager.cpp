#include "AccountManager.h"

#include <regex>

#include <linphone/core.h>
#include <linphone/factory.h>
#include <openssl/crypto.h>
#include <zepwrapper/ZepCertificateObserver.h>
#include <zepwrapper/ZepConnectionObserver.h>
#include <zepwrapper/ZepLoginObserver.h>

#include "PasswordVault.h"
#include "zepwrapper/ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/AccountManager";

const char* const AccountManager::kStatusDisconnected = "Disconnected";
const char* const AccountManager::kStatusConnecting = "Connecting";
const char* const AccountManager::kStatusConnected = "Connected";
const char* const AccountManager::kModeSoftPhone = "SoftPhone";
const char* const AccountManager::kDeviceModel = "SIP softphone";

namespace {
// Life-cycle words.
const char* const kLifeSignedOut = "SignedOut";
const char* const kLifeSigningIn = "SigningIn";
const char* const kLifeSignedIn = "SignedIn";
// Authentication status and result words.
const char* const kAuthAuthenticated = "Authenticated";
const char* const kAuthNotAuthenticated = "NotAuthenticated";
const char* const kResultSuccess = "Success";
const char* const kResultInvalidCredentials = "InvalidCredentials";
// Connection failure reasons.
const char* const kReasonUnreachable = "ServerUnreachable";
const char* const kReasonCertificateRejected = "CertificateRejected";

ZepLoginObserver::Errors errorList(const std::string& error) {
    auto errors = std::make_shared<std::vector<std::string>>();
    if (!error.empty()) errors->push_back(error);
    return errors;
}

bool splitAddress(const std::string& email, std::string& user, std::string& domain) {
    // A SIP identity as people write it: user@domain, no scheme, no spaces.
    static const std::regex kShape(
        "([A-Za-z0-9._%+!~*'&=$,?-]+)@([A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?"
        "(\\.[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?)*)");
    std::smatch match;
    if (email.size() > 254 || !std::regex_match(email, match, kShape)) return false;
    user = match[1];
    domain = match[2];
    return true;
}

bool isAuthFailure(int code) {
    return code == 401 || code == 403 || code == 407;
}
}  // namespace

struct AccountManager::EngineCallbacks {
    static AccountManager* self(LinphoneCore* lc) {
        LinphoneCoreCbs* cbs = linphone_core_get_current_callbacks(lc);
        return cbs ? static_cast<AccountManager*>(linphone_core_cbs_get_user_data(cbs)) : nullptr;
    }
    static void registration(LinphoneCore* lc, LinphoneAccount* account, LinphoneRegistrationState state, const char*) {
        AccountManager* manager = self(lc);
        if (manager != nullptr) manager->handleRegistration(account, state);
    }
    // The digest answer comes from setUserProfileCredentials; a challenge the
    // stored credentials do not meet ends in a failed registration, handled there.
    static void authRequested(LinphoneCore* lc, LinphoneAuthInfo* info, LinphoneAuthMethod) {
        AccountManager* manager = self(lc);
        if (manager == nullptr) return;
        const char* realm = linphone_auth_info_get_realm(info);
        ZEP_LOG(OZKLogLevelInfo, kSrc, "server asks for credentials, realm [" << (realm ? realm : "") << "]");
        manager->answerRealm(realm ? realm : "");
    }
};

AccountManager::AccountManager(FrameworkContext context, Provisioning& provisioning, SingleSignOn& sso)
    : m_context(context), m_provisioning(provisioning), m_sso(sso), m_status(kStatusDisconnected) {
    SingleSignOn::Handlers handlers;
    handlers.credentials = [this](const Provisioning::SipCredentials& c) { onProviderCredentials(c); };
    handlers.ended = [this](const std::string& why) { onProviderSignInEnded(why); };
    m_sso.setHandlers(handlers);
}

AccountManager::~AccountManager() {
    onEngineStopping();
}

void AccountManager::onEngineStarted() {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return;
    // The engine keeps only the digest hash, never the password itself.
    linphone_config_set_int(linphone_core_get_config(core), "sip", "store_ha1_passwd", 1);
    // Registrars over TLS: the chain and the host name are always verified;
    // the user's decisions on a chain that fails go through the TLS check.
    linphone_core_verify_server_certificates(core, TRUE);
    linphone_core_verify_server_cn(core, TRUE);
    ServerCertificates::instance().install();
    m_pCbs = linphone_factory_create_core_cbs(linphone_factory_get());
    linphone_core_cbs_set_user_data(m_pCbs, this);
    linphone_core_cbs_set_account_registration_state_changed(m_pCbs, &EngineCallbacks::registration);
    linphone_core_cbs_set_authentication_requested(m_pCbs, &EngineCallbacks::authRequested);
    linphone_core_add_callbacks(core, m_pCbs);
    // An account left by an earlier run is not ours to register: sign-in starts fresh.
    linphone_core_clear_accounts(core);
    linphone_core_clear_all_auth_info(core);
}

void AccountManager::onEngineStopping() {
    LinphoneCore* core = m_context.engine.core();
    if (m_pAccount != nullptr) {
        linphone_account_unref(m_pAccount);
        m_pAccount = nullptr;
    }
    if (m_pCbs != nullptr) {
        if (core != nullptr) linphone_core_remove_callbacks(core, m_pCbs);
        linphone_core_cbs_unref(m_pCbs);
        m_pCbs = nullptr;
    }
    m_backoff.reset();
    m_retryCheckPosted = false;
    forgetPassword();
    m_provisioning.cancel();
    m_sso.reset(false);
    clearCertificateDecision();
    ServerCertificates::instance().endAttempts();
    m_attempt = 0;
    if (m_stage != Stage::Idle && m_stage != Stage::NeedAddress && m_stage != Stage::NeedCredentials) {
        m_stage = Stage::Idle;
    }
    m_status = kStatusDisconnected;
}

// --- Servers ----------------------------------------------------------------

void AccountManager::setLoryAddressList(const std::vector<std::string>& addresses) {
    std::vector<ServerAddress> servers;
    for (const std::string& text : addresses) {
        ServerAddress server;
        std::string error;
        if (!ServerAddress::parse(text, server, error)) {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "setLoryAddressList: ignored [" << text << "]: " << error);
            continue;
        }
        servers.push_back(server);
    }
    m_servers = servers;
    m_pageServers = servers;
    m_serverIndex = 0;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "setLoryAddressList: [" << m_servers.size() << "] servers");
}

void AccountManager::setTftpAddressList(const std::vector<std::string>& addresses) {
    m_tftp = addresses;
    for (const std::string& a : addresses) ZEP_LOG(OZKLogLevelInfo, kSrc, "TFTP address [" << a << "]");
    m_provisioning.setServers(addresses);
}

void AccountManager::setCtiAddressList(const std::vector<std::string>& addresses) {
    m_cti = addresses;
    for (const std::string& a : addresses) ZEP_LOG(OZKLogLevelInfo, kSrc, "CTI address [" << a << "]");
}

// --- Sign-in ----------------------------------------------------------------

int AccountManager::startSignIn(bool manualSettings) {
    if (m_context.engine.core() == nullptr) return ApiReturnCodeEnum::eInvalidState;
    if (m_stage == Stage::Registering || m_stage == Stage::SignedIn || m_stage == Stage::Provisioning ||
        m_stage == Stage::SingleSignOn) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "startSignIn: already signed in or signing in");
        return ApiReturnCodeEnum::eInvalidState;
    }
    m_manualSettings = manualSettings;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "startSignIn manualSettings [" << manualSettings << "]");
    if (m_email.empty()) {
        askForAddress(std::string());
    } else {
        beginWithAddress();
    }
    return ApiReturnCodeEnum::eNoError;
}

int AccountManager::setUserProfileEmailAddress(const std::string& email) {
    if (m_context.engine.core() == nullptr) return ApiReturnCodeEnum::eInvalidState;
    if (m_stage == Stage::Provisioning || m_stage == Stage::SingleSignOn) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "setUserProfileEmailAddress: a sign-in is under way");
        return ApiReturnCodeEnum::eInvalidState;
    }
    std::string user;
    std::string domain;
    if (!splitAddress(email, user, domain)) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "setUserProfileEmailAddress: malformed address");
        askForAddress("Malformed e-mail address");
        return ApiReturnCodeEnum::eNoError;
    }
    m_email = email;
    m_user = user;
    m_domain = domain;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "setUserProfileEmailAddress [" << email << "]");
    beginWithAddress();
    return ApiReturnCodeEnum::eNoError;
}

void AccountManager::beginWithAddress() {
    if (!m_provisioning.configured() || m_manualSettings) {
        askForCredentials(std::string());
        return;
    }
    // The domain's provisioning says how it signs in and where it registers.
    m_stage = Stage::Provisioning;
    m_context.deliver<ZepLoginObserver>("onLifeCycleStateChanged",
                                        [](ZepLoginObserver& o) { o.onLifeCycleStateChanged(kLifeSigningIn); });
    m_provisioning.domainSettings(
        m_domain, [this](bool ok, const Provisioning::DomainSettings& settings, const std::string& error) {
            onDomainSettings(ok, settings, error);
        });
}

void AccountManager::onDomainSettings(bool ok, const Provisioning::DomainSettings& settings, const std::string& error) {
    if (m_stage != Stage::Provisioning) return;
    if (!ok) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "provisioning for [" << m_domain << "] failed: " << error);
        m_context.deliver<ZepLoginObserver>("onLifeCycleStateChanged",
                                            [](ZepLoginObserver& o) { o.onLifeCycleStateChanged(kLifeSignedOut); });
        askForAddress("Provisioning failed: " + error);
        return;
    }
    std::vector<ServerAddress> servers;
    for (const std::string& text : settings.registrars) {
        ServerAddress server;
        std::string why;
        if (ServerAddress::parse(text, server, why)) {
            servers.push_back(server);
        } else {
            ZEP_LOG(OZKLogLevelWarning, kSrc, "provisioned registrar ignored [" << text << "]: " << why);
        }
    }
    m_servers = servers.empty() ? m_pageServers : servers;
    m_serverIndex = 0;
    ZEP_LOG(
        OZKLogLevelInfo, kSrc,
        "domain [" << m_domain << "] signs in with [" << settings.signIn << "], [" << m_servers.size() << "] servers");
    if (settings.signIn != "oidc") {
        askForCredentials(std::string());
        return;
    }
    m_stage = Stage::SingleSignOn;
    m_sso.begin(m_email, settings);
}

void AccountManager::onProviderCredentials(const Provisioning::SipCredentials& credentials) {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return;
    if (m_stage == Stage::SignedIn || m_stage == Stage::Registering) {
        // Renewed: the registrar hears the new ones with the next REGISTER, sent now.
        setAuthInfo(credentials.username, credentials.password, credentials.domain);
        m_authUser = credentials.username;
        if (m_pAccount != nullptr) linphone_account_refresh_register(m_pAccount);
        return;
    }
    if (m_stage != Stage::SingleSignOn) return;
    // A new sign-in: a certificate question of an earlier one is void.
    clearCertificateDecision();
    // The provider's user is the line, whatever address was typed.
    m_user = credentials.user;
    m_domain = credentials.domain;
    m_authUser = credentials.username;
    setAuthInfo(credentials.username, credentials.password, credentials.domain);
    m_backoff.reset();
    std::string error;
    if (!registerAccount(error)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "sign-in through the provider: " << error);
        m_stage = Stage::Idle;
        m_sso.reset(false);
        askForAddress(error);
        return;
    }
    m_stage = Stage::Registering;
}

void AccountManager::onProviderSignInEnded(const std::string& why) {
    if (m_stage != Stage::SingleSignOn) return;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "not signed in: " << why);
    m_stage = Stage::Idle;
    m_context.deliver<ZepLoginObserver>("onLifeCycleStateChanged",
                                        [](ZepLoginObserver& o) { o.onLifeCycleStateChanged(kLifeSignedOut); });
}

void AccountManager::answerRealm(const std::string& realm) {
    // A registrar may challenge with a realm other than the domain (a PBX's
    // default, say): the digest is made again for it, once, from the
    // password still held in memory for this attempt.
    LinphoneCore* core = m_context.engine.core();
    if (m_password.empty() || realm.empty() || core == nullptr ||
        linphone_core_find_auth_info(core, realm.c_str(), m_user.c_str(), m_domain.c_str()) != nullptr) {
        return;
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc, "the registrar's realm is not the domain: answering for [" << realm << "]");
    // Beside the domain's entry, which the engine may still look for.
    addAuthInfo(m_authUser, m_password, realm, m_domain);
}

void AccountManager::forgetPassword() {
    if (!m_password.empty()) OPENSSL_cleanse(&m_password[0], m_password.size());
    m_password.clear();
}

void AccountManager::setAuthInfo(const std::string& userId, const std::string& password, const std::string& realm) {
    // Held only until the registrar has accepted it, in case it names another realm.
    forgetPassword();
    m_password = password;
    linphone_core_clear_all_auth_info(m_context.engine.core());
    addAuthInfo(userId, password, realm, realm);
}

void AccountManager::addAuthInfo(const std::string& userId, const std::string& password, const std::string& realm,
                                 const std::string& domain) {
    // With the realm given up front the engine stores only the digest hash.
    // It finds credentials by the identity's user; the digest carries the
    // user id, which may differ ("EXPIRY:USER").
    LinphoneAuthInfo* info =
        linphone_factory_create_auth_info_2(linphone_factory_get(), m_user.c_str(), userId.c_str(), password.c_str(),
                                            nullptr, realm.c_str(), domain.c_str(), nullptr);
    linphone_core_add_auth_info(m_context.engine.core(), info);
    linphone_auth_info_unref(info);
}

int AccountManager::setUserProfileCredentials(unsigned authenticator, const std::string& username,
                                              const std::string& password) {
    // Neither name nor password is logged.
    if (m_context.engine.core() == nullptr) return ApiReturnCodeEnum::eInvalidState;
    if (m_stage != Stage::NeedCredentials) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "setUserProfileCredentials: no credentials asked for");
        return ApiReturnCodeEnum::eInvalidState;
    }
    if (authenticator != m_authenticator) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "setUserProfileCredentials: unknown authenticator [" << authenticator << "]");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    if (password.empty()) {
        askForCredentials("Missing password");
        return ApiReturnCodeEnum::eNoError;
    }
    m_authUser = username.empty() ? m_user : username;
    // A new sign-in: a certificate question of an earlier one is void.
    clearCertificateDecision();
    setAuthInfo(m_authUser, password, m_domain);
    m_serverIndex = 0;
    m_backoff.reset();
    std::string error;
    if (!registerAccount(error)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "setUserProfileCredentials: " << error);
        askForCredentials(error);
        return ApiReturnCodeEnum::eNoError;
    }
    m_stage = Stage::Registering;
    m_context.deliver<ZepLoginObserver>("onLifeCycleStateChanged",
                                        [](ZepLoginObserver& o) { o.onLifeCycleStateChanged(kLifeSigningIn); });
    return ApiReturnCodeEnum::eNoError;
}

void AccountManager::askForAddress(const std::string& error) {
    m_stage = Stage::NeedAddress;
    m_context.queue.post([this, error] {
        m_context.deliver<ZepLoginObserver>("onUserProfileEmailAddressRequired", [&](ZepLoginObserver& o) {
            o.onUserProfileEmailAddressRequired(errorList(error));
        });
    });
}

void AccountManager::askForCredentials(const std::string& error) {
    m_stage = Stage::NeedCredentials;
    m_authenticator = m_nextAuthenticator++;
    const unsigned id = m_authenticator;
    m_context.queue.post([this, id, error] {
        m_context.deliver<ZepLoginObserver>(
            "onCredentialsRequired", [&](ZepLoginObserver& o) { o.onCredentialsRequired(id, errorList(error)); });
    });
}

bool AccountManager::registerAccount(std::string& error) {
    LinphoneCore* core = m_context.engine.core();
    dropAccount();
    std::string server;
    std::string host;
    if (!m_servers.empty()) {
        server = m_servers[m_serverIndex % m_servers.size()].uri();
        host = m_servers[m_serverIndex % m_servers.size()].host();
    } else if (!m_manualSettings) {
        // No list: the address's domain is the SIP domain, found as the engine resolves it.
        server = "sip:" + m_domain;
        host = m_domain;
    } else {
        error = "No server configured";
        return false;
    }
    LinphoneAddress* identity =
        linphone_factory_create_address(linphone_factory_get(), ("sip:" + m_user + "@" + m_domain).c_str());
    LinphoneAddress* proxy = linphone_factory_create_address(linphone_factory_get(), server.c_str());
    if (identity == nullptr || proxy == nullptr) {
        if (identity) linphone_address_unref(identity);
        if (proxy) linphone_address_unref(proxy);
        error = "Invalid account address";
        return false;
    }
    LinphoneAccountParams* params = linphone_core_create_account_params(core);
    linphone_account_params_set_identity_address(params, identity);
    linphone_account_params_set_server_address(params, proxy);
    linphone_account_params_set_outbound_proxy_enabled(params, TRUE);
    linphone_account_params_set_register_enabled(params, TRUE);
    linphone_address_unref(identity);
    linphone_address_unref(proxy);
    m_pAccount = linphone_core_create_account(core, params);
    linphone_account_params_unref(params);
    if (m_pAccount == nullptr || linphone_core_add_account(core, m_pAccount) != 0) {
        dropAccount();
        error = "The engine refused the account";
        return false;
    }
    linphone_core_set_default_account(core, m_pAccount);
    // What the TLS check sees from here on belongs to this attempt.
    m_attempt = ServerCertificates::instance().beginAttempt(host);
    setStatus(kStatusConnecting);
    ZEP_LOG(OZKLogLevelInfo, kSrc, "registering through [" << server << "]");
    return true;
}

void AccountManager::dropAccount() {
    if (m_pAccount == nullptr) return;
    LinphoneCore* core = m_context.engine.core();
    LinphoneAccount* account = m_pAccount;
    m_pAccount = nullptr;
    // Removing a registered account also unregisters it.
    if (core != nullptr) linphone_core_remove_account(core, account);
    linphone_account_unref(account);
}

void AccountManager::handleRegistration(LinphoneAccount* account, int state) {
    // Accounts being removed still report; only the current one counts.
    if (account != m_pAccount) return;
    const LinphoneErrorInfo* info = linphone_account_get_error_info(account);
    const int code = info ? linphone_error_info_get_protocol_code(info) : 0;
    ZEP_LOG(OZKLogLevelInfo, kSrc,
            "registration [" << linphone_registration_state_to_string(static_cast<LinphoneRegistrationState>(state))
                             << "] code [" << code << "]");
    if (state == LinphoneRegistrationOk) {
        // The engine now keeps the digest for the registrar's realm.
        forgetPassword();
        m_backoff.reset();
        if (m_stage == Stage::Registering) {
            // The status change is part of the signed-in announcement, after "loggedin".
            m_status = kStatusConnected;
            m_stage = Stage::SignedIn;
            announceSignedIn();
        } else {
            setStatus(kStatusConnected);
        }
        return;
    }
    if (state != LinphoneRegistrationFailed) return;
    // A TLS handshake that failed verification reaches the account only as
    // a 503 "io error": what the TLS check saw in this attempt tells it apart.
    CertificateReport report;
    if (ServerCertificates::instance().takeFailure(m_attempt, report)) {
        // The engine would try once more at once, before the user could
        // answer: its refresher stops here (the account goes on the pump).
        linphone_account_pause_register(account);
        m_context.queue.post([this, report] { certificateFailed(report); });
        return;
    }
    if (isAuthFailure(code) && m_sso.inUse()) {
        // Short-lived credentials run out or were refused: new ones from the provider's session.
        m_context.queue.post([this, code] {
            if (m_sso.credentialsRefused()) return;
            const std::string cause = "The registrar refused the provider's credentials (" + std::to_string(code) + ")";
            forgetPassword();
            dropAccount();
            linphone_core_clear_all_auth_info(m_context.engine.core());
            setStatus(kStatusDisconnected);
            m_stage = Stage::Idle;
            m_sso.reset(false);
            m_context.deliver<ZepLoginObserver>("onAuthenticationStatusChanged", [](ZepLoginObserver& o) {
                o.onAuthenticationStatusChanged(kAuthNotAuthenticated, kResultInvalidCredentials);
            });
            m_context.deliver<ZepLoginObserver>("onLifeCycleStateChanged",
                                                [](ZepLoginObserver& o) { o.onLifeCycleStateChanged(kLifeSignedOut); });
            auto errors = errorList(cause);
            m_context.deliver<ZepLoginObserver>("onSSOSignInRequired",
                                                [&](ZepLoginObserver& o) { o.onSSOSignInRequired(errors); });
        });
        return;
    }
    if (isAuthFailure(code)) {
        // Wrong credentials: stop here (no retries) and ask again.
        const std::string cause = "Authentication failed: wrong user name or password (" + std::to_string(code) + ")";
        m_context.queue.post([this, cause] {
            forgetPassword();
            dropAccount();
            linphone_core_clear_all_auth_info(m_context.engine.core());
            setStatus(kStatusDisconnected);
            m_context.deliver<ZepLoginObserver>("onAuthenticationStatusChanged", [](ZepLoginObserver& o) {
                o.onAuthenticationStatusChanged(kAuthNotAuthenticated, kResultInvalidCredentials);
            });
            askForCredentials(cause);
        });
        return;
    }
    std::string reason = kReasonUnreachable;
    if (code != 0) reason += " (" + std::to_string(code) + ")";
    m_context.queue.post([this, reason] { serverUnreachable(reason); });
}

void AccountManager::serverUnreachable(const std::string& reason) {
    if (m_pAccount == nullptr) return;
    // Next server in the list first; when all failed, wait and start over.
    if (m_servers.size() > 1 && m_serverIndex + 1 < m_servers.size()) {
        ++m_serverIndex;
        ZEP_LOG(OZKLogLevelInfo, kSrc, "failing over to server [" << m_serverIndex << "]");
        std::string error;
        if (registerAccount(error)) return;
    }
    m_serverIndex = 0;
    setStatus(kStatusConnecting);
    const std::chrono::seconds delay = m_backoff.schedule(RetryBackoff::Clock::now());
    ZEP_LOG(OZKLogLevelWarning, kSrc, "connection failure [" << reason << "], retry in [" << delay.count() << "] s");
    m_context.deliver<ZepConnectionObserver>("onConnectionFailure",
                                             [&](ZepConnectionObserver& o) { o.onConnectionFailure(reason); });
    if (!m_retryCheckPosted) {
        m_retryCheckPosted = true;
        m_context.queue.postAt(m_backoff.dueAt(), [this] { checkRetry(); });
    }
}

void AccountManager::certificateFailed(const CertificateReport& report) {
    // Logged out or signed in anew meanwhile: the question is void.
    if (m_pAccount == nullptr) return;
    // No retry, by the engine or by us, while the user decides: each would
    // meet the same certificate. The status stays "Connecting".
    dropAccount();
    m_backoff.disarm();
    setStatus(kStatusConnecting);
    m_certificatePending = true;
    m_pendingCertificate = report;
    const std::string reference = "certificate-" + std::to_string(m_nextCertificateReference++);
    const std::vector<std::string> reasons = ServerCertificates::reasons(report.flags);
    const bool allow = ServerCertificates::acceptable(report.flags);
    // An acceptance is kept across runs whenever the user may accept at all.
    const bool persist = allow;
    std::string words;
    for (const std::string& r : reasons) words += (words.empty() ? "" : ", ") + r;
    ZEP_LOG(OZKLogLevelWarning, kSrc,
            "certificate of [" << report.host << "] waits for the user's decision: [" << report.fingerprint
                               << "] reasons [" << words << "] reference [" << reference << "] allow [" << allow
                               << "]");
    m_context.deliver<ZepCertificateObserver>("onInvalidCertificate", [&](ZepCertificateObserver& o) {
        o.onInvalidCertificate(report.fingerprint, report.host, report.subjectCN, reference, reasons, report.pem,
                               report.chainPem, allow, persist);
    });
}

void AccountManager::clearCertificateDecision() {
    m_certificatePending = false;
    m_pendingCertificate = CertificateReport();
}

void AccountManager::checkRetry() {
    // Runs when the retry falls due; a later schedule (another failure
    // meanwhile) moves the deadline, so look again then.
    m_retryCheckPosted = false;
    if (!m_backoff.armed() || m_pAccount == nullptr) return;
    if (!m_backoff.due(RetryBackoff::Clock::now())) {
        m_retryCheckPosted = true;
        m_context.queue.postAt(m_backoff.dueAt(), [this] { checkRetry(); });
        return;
    }
    m_backoff.disarm();
    std::string error;
    if (!registerAccount(error)) ZEP_LOG(OZKLogLevelWarning, kSrc, "retry failed: " << error);
}

void AccountManager::setStatus(const char* status) {
    if (m_status == status) return;
    m_status = status;
    const std::string copy = status;
    m_context.deliver<ZepConnectionObserver>("onConnectionStatusChange",
                                             [&](ZepConnectionObserver& o) { o.onConnectionStatusChange(copy); });
}

void AccountManager::announceSignedIn() {
    // loggedin first, then what a page needs to show the line.
    ZEP_LOG(OZKLogLevelInfo, kSrc, "signed in as [" << m_email << "]");
    m_context.deliver<ZepLoginObserver>("onLoggedIn", [](ZepLoginObserver& o) { o.onLoggedIn(); });
    m_context.deliver<ZepLoginObserver>("onAuthenticationStatusChanged", [](ZepLoginObserver& o) {
        o.onAuthenticationStatusChanged(kAuthAuthenticated, kResultSuccess);
    });
    m_context.deliver<ZepLoginObserver>("onLifeCycleStateChanged",
                                        [](ZepLoginObserver& o) { o.onLifeCycleStateChanged(kLifeSignedIn); });
    const std::string status = m_status;
    m_context.deliver<ZepConnectionObserver>("onConnectionStatusChange",
                                             [&](ZepConnectionObserver& o) { o.onConnectionStatusChange(status); });
    PhoneList devices = std::make_shared<std::vector<std::shared_ptr<ZepPhoneInfo>>>();
    devices->push_back(device());
    m_context.deliver<ZepConnectionObserver>(
        "onZepTelephonyDevicesChanged", [&](ZepConnectionObserver& o) { o.onZepTelephonyDevicesChanged(devices); });
    const std::string name = deviceName();
    const std::string line = m_user;
    m_context.deliver<ZepConnectionObserver>("onCallControlModeChange", [&](ZepConnectionObserver& o) {
        o.onCallControlModeChange(kModeSoftPhone, name, line);
    });
}

// --- Device, line and connection --------------------------------------------

std::string AccountManager::deviceName() const {
    return "softphone:" + m_user + "@" + m_domain;
}

std::shared_ptr<ZepPhoneInfo> AccountManager::device() const {
    auto phone = std::make_shared<ZepPhoneInfo>();
    phone->setName(deviceName());
    phone->setDescription(std::string(kDeviceModel) + " for " + m_user + "@" + m_domain);
    phone->setModel(kDeviceModel);
    phone->setModelDescription(kDeviceModel);
    phone->setSoftPhone(true);
    phone->setDeskPhone(false);
    phone->setLineDNs(std::vector<std::string>{m_user});
    return phone;
}

std::shared_ptr<ZepDeviceAndPhoneInfo> AccountManager::getDeviceAndPhoneInfo() {
    if (m_stage != Stage::SignedIn && m_stage != Stage::Registering) return std::shared_ptr<ZepDeviceAndPhoneInfo>();
    auto info = std::make_shared<ZepDeviceAndPhoneInfo>();
    info->setName(deviceName());
    info->setDescription(std::string(kDeviceModel) + " for " + m_user + "@" + m_domain);
    info->setModel(kDeviceModel);
    info->setModelDescription(kDeviceModel);
    info->setSoftPhone(true);
    info->setLines(std::vector<std::string>{m_user});
    info->setActiveLine(true);
    info->setLineNumber(m_user);
    info->setLineName(m_email);
    return info;
}

int AccountManager::getConnectionStatus(std::string& status) {
    status = m_status;
    return ApiReturnCodeEnum::eNoError;
}

int AccountManager::getMode(std::string& mode) {
    mode = kModeSoftPhone;
    return ApiReturnCodeEnum::eNoError;
}

int AccountManager::connect(const std::string& deviceName, const std::string& lineDN, bool forceRegistration) {
    if (m_pAccount == nullptr) return ApiReturnCodeEnum::eInvalidState;
    if (!deviceName.empty() && deviceName != this->deviceName()) return ApiReturnCodeEnum::eInvalidArgument;
    if (!lineDN.empty() && lineDN != m_user) return ApiReturnCodeEnum::eInvalidArgument;
    if (forceRegistration) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "connect: registering again");
        linphone_account_refresh_register(m_pAccount);
    }
    const std::string name = this->deviceName();
    const std::string line = m_user;
    m_context.queue.post([this, name, line] {
        m_context.deliver<ZepConnectionObserver>("onCallControlModeChange", [&](ZepConnectionObserver& o) {
            o.onCallControlModeChange(kModeSoftPhone, name, line);
        });
    });
    return ApiReturnCodeEnum::eNoError;
}

int AccountManager::getAvailableDevices(PhoneList& devices) {
    devices = std::make_shared<std::vector<std::shared_ptr<ZepPhoneInfo>>>();
    if (m_stage == Stage::SignedIn || m_stage == Stage::Registering) devices->push_back(device());
    return ApiReturnCodeEnum::eNoError;
}

int AccountManager::logout() {
    if (m_context.engine.core() == nullptr) return ApiReturnCodeEnum::eInvalidState;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "logout");
    forgetPassword();
    m_provisioning.cancel();
    // Signing out ends the provider session too; the next sign-in starts over.
    m_sso.reset(true);
    dropAccount();
    linphone_core_clear_all_auth_info(m_context.engine.core());
    m_backoff.reset();
    clearCertificateDecision();
    ServerCertificates::instance().endAttempts();
    m_attempt = 0;
    m_stage = Stage::Idle;
    setStatus(kStatusDisconnected);
    m_context.deliver<ZepLoginObserver>("onLifeCycleStateChanged",
                                        [](ZepLoginObserver& o) { o.onLifeCycleStateChanged(kLifeSignedOut); });
    return ApiReturnCodeEnum::eNoError;
}

int AccountManager::resetData() {
    ZEP_LOG(OZKLogLevelInfo, kSrc, "resetData");
    // Tokens, the kept provider session and credentials go with the address.
    m_provisioning.cancel();
    m_sso.reset(true);
    if (m_context.engine.core() != nullptr) {
        logout();
        linphone_core_clear_accounts(m_context.engine.core());
    }
    m_email.clear();
    m_user.clear();
    m_domain.clear();
    m_authUser.clear();
    m_authenticator = 0;
    m_stage = Stage::Idle;
    return ApiReturnCodeEnum::eNoError;
}

int AccountManager::encryptPboxPassword(const std::string& password, std::string& encrypted) {
    // A failure still answers success, with an empty text: the caller has
    // nothing it could do differently.
    std::string error;
    if (!PasswordVault::encrypt(password, encrypted, error)) {
        ZEP_LOG(OZKLogLevelError, kSrc, "encryptPboxPassword failed: " << error);
        encrypted.clear();
    }
    return ApiReturnCodeEnum::eNoError;
}

namespace {
// A POSIX shared-memory name: printable, at most 255 characters, "/" only in front.
bool validShmName(const std::string& name) {
    if (name.size() > 255) return false;
    for (size_t i = 0; i < name.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(name[i]);
        if (c < 0x21 || c > 0x7e) return false;
        if (name[i] == '/' && i != 0) return false;
    }
    return name != "/";
}
}  // namespace

int AccountManager::configure(const std::string& shmLocalName, const std::string& shmRemoteName) {
    if (!validShmName(shmLocalName) || !validShmName(shmRemoteName)) {
        ZEP_LOG(
            OZKLogLevelWarning, kSrc,
            "configure: invalid shared-memory name, local [" << shmLocalName << "] remote [" << shmRemoteName << "]");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    // Video is drawn only in the external window; the names are kept for the log.
    ZEP_LOG(
        OZKLogLevelInfo, kSrc,
        "configure local [" << shmLocalName << "] remote [" << shmRemoteName << "], video in the external window only");
    return ApiReturnCodeEnum::eNoError;
}

int AccountManager::handleInvalidCertificate(const std::string& certFingerprint, bool accept) {
    if (m_context.engine.core() == nullptr) return ApiReturnCodeEnum::eInvalidState;
    if (!m_certificatePending ||
        !ServerCertificates::sameFingerprint(certFingerprint, m_pendingCertificate.fingerprint)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc,
                "handleInvalidCertificate [" << certFingerprint << "] accept [" << accept
                                             << "]: no certificate with this fingerprint waits for a decision");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    const CertificateReport report = m_pendingCertificate;
    if (accept && !ServerCertificates::acceptable(report.flags)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc,
                "handleInvalidCertificate [" << certFingerprint << "]: this certificate may not be accepted");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    clearCertificateDecision();
    if (!accept) {
        // The sign-in ends here: no retry, now or later, with this certificate.
        ZEP_LOG(OZKLogLevelInfo, kSrc,
                "certificate of [" << report.host << "] rejected by the user: [" << report.fingerprint << "]");
        dropAccount();
        m_backoff.reset();
        ServerCertificates::instance().endAttempts();
        m_attempt = 0;
        m_stage = Stage::Idle;
        // Observers hear of it from the pump, after the reply.
        m_context.queue.post([this] {
            const std::string reason = kReasonCertificateRejected;
            m_context.deliver<ZepConnectionObserver>("onConnectionFailure",
                                                     [&](ZepConnectionObserver& o) { o.onConnectionFailure(reason); });
            setStatus(kStatusDisconnected);
            m_context.deliver<ZepLoginObserver>("onLifeCycleStateChanged",
                                                [](ZepLoginObserver& o) { o.onLifeCycleStateChanged(kLifeSignedOut); });
        });
        return ApiReturnCodeEnum::eNoError;
    }
    // Trusted from now on for this host (and kept when the event said so);
    // the registration is tried again at once, on the same server.
    const bool persist = ServerCertificates::acceptable(report.flags);
    std::string error;
    if (!ServerCertificates::instance().trust(report, persist, error)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "accepted certificate not kept: " << error);
    }
    ZEP_LOG(OZKLogLevelInfo, kSrc,
            "certificate of [" << report.host << "] accepted by the user: [" << report.fingerprint << "] kept ["
                               << persist << "]");
    m_backoff.reset();
    if (!registerAccount(error)) {
        ZEP_LOG(OZKLogLevelWarning, kSrc, "handleInvalidCertificate: registering again failed: " << error);
        return ApiReturnCodeEnum::eOperationFailed;
    }
    return ApiReturnCodeEnum::eNoError;
}

LinphoneAccount* AccountManager::currentAccount() const {
    return m_pAccount;
}

std::string AccountManager::sipDomain() const {
    return m_pAccount ? m_domain : std::string();
}

std::string AccountManager::lineNumber() const {
    return m_pAccount ? m_user : std::string();
}

bool AccountManager::registering() const {
    return m_pAccount != nullptr && linphone_account_get_state(m_pAccount) == LinphoneRegistrationProgress;
}

}  // namespace zep
}  // namespace tessel
