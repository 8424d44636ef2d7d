#pragma once

#include <memory>
#include <string>
#include <vector>

#include <zepwrapper/ZepDeviceAndPhoneInfo.h>
#include <zepwrapper/ZepPhoneInfo.h>

#include "FrameworkContext.h"
#include "Provisioning.h"
#include "RetryBackoff.h"
#include "ServerAddress.h"
#include "ServerCertificates.h"
#include "SingleSignOn.h"

typedef struct _LinphoneAccount LinphoneAccount;
typedef struct _LinphoneCore LinphoneCore;
typedef struct _LinphoneCoreCbs LinphoneCoreCbs;
typedef struct _LinphoneAuthInfo LinphoneAuthInfo;

namespace tessel {
namespace zep {

// Sign-in, the SIP account and its registration, the softphone device and
// line, and the connection state the pages see. Runs on the pumping thread.
class AccountManager {
public:
    typedef std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>> PhoneList;

    AccountManager(FrameworkContext context, Provisioning& provisioning, SingleSignOn& sso);
    ~AccountManager();
    AccountManager(const AccountManager&) = delete;
    AccountManager& operator=(const AccountManager&) = delete;

    // The core has just started / is about to stop.
    void onEngineStarted();
    void onEngineStopping();

    int logout();
    void setLoryAddressList(const std::vector<std::string>& addresses);
    void setTftpAddressList(const std::vector<std::string>& addresses);
    void setCtiAddressList(const std::vector<std::string>& addresses);
    int startSignIn(bool manualSettings);
    int setUserProfileEmailAddress(const std::string& email);
    int setUserProfileCredentials(unsigned authenticator, const std::string& username, const std::string& password);
    std::shared_ptr<ZepDeviceAndPhoneInfo> getDeviceAndPhoneInfo();
    int getConnectionStatus(std::string& status);
    int getMode(std::string& mode);
    int connect(const std::string& deviceName, const std::string& lineDN, bool forceRegistration);
    int getAvailableDevices(PhoneList& devices);
    int resetData();
    int encryptPboxPassword(const std::string& password, std::string& encrypted);
    int configure(const std::string& shmLocalName, const std::string& shmRemoteName);
    int handleInvalidCertificate(const std::string& certFingerprint, bool accept);

    // For the call manager. The account calls are placed through, null when
    // nobody is signed in.
    LinphoneAccount* currentAccount() const;
    // A REGISTER is under way: the engine needs its rounds quickly.
    bool registering() const;
    // The SIP domain of the signed-in identity ("example.com"), "" when none.
    std::string sipDomain() const;
    // The line's directory number (the account's user part), "" when none.
    std::string lineNumber() const;

    // Connection status words.
    static const char* const kStatusDisconnected;
    static const char* const kStatusConnecting;
    static const char* const kStatusConnected;
    // The one call-control mode and the device model of this softphone.
    static const char* const kModeSoftPhone;
    static const char* const kDeviceModel;

private:
    // Provisioning: asking how the address's domain signs in; SingleSignOn:
    // at the domain's identity provider.
    enum class Stage { Idle, NeedAddress, Provisioning, SingleSignOn, NeedCredentials, Registering, SignedIn };

    // The engine's C callbacks, defined next to the implementation.
    struct EngineCallbacks;
    friend struct EngineCallbacks;
    void handleRegistration(LinphoneAccount* account, int state);

    void beginWithAddress();
    void onDomainSettings(bool ok, const Provisioning::DomainSettings& settings, const std::string& error);
    void onProviderCredentials(const Provisioning::SipCredentials& credentials);
    void onProviderSignInEnded(const std::string& why);
    void setAuthInfo(const std::string& userId, const std::string& password, const std::string& realm);
    void addAuthInfo(const std::string& userId, const std::string& password, const std::string& realm,
                     const std::string& domain);
    void answerRealm(const std::string& realm);
    void forgetPassword();
    void askForAddress(const std::string& error);
    void askForCredentials(const std::string& error);
    bool registerAccount(std::string& error);
    void dropAccount();
    void serverUnreachable(const std::string& reason);
    void certificateFailed(const CertificateReport& report);
    void clearCertificateDecision();
    void checkRetry();
    void setStatus(const char* status);
    void announceSignedIn();
    std::string deviceName() const;
    std::shared_ptr<ZepPhoneInfo> device() const;

    FrameworkContext m_context;
    Provisioning& m_provisioning;
    SingleSignOn& m_sso;
    LinphoneCoreCbs* m_pCbs = nullptr;
    LinphoneAccount* m_pAccount = nullptr;
    Stage m_stage = Stage::Idle;
    std::string m_status;
    bool m_manualSettings = false;
    std::vector<ServerAddress> m_servers;
    std::vector<std::string> m_tftp;
    // The page's registrar list; a domain's provisioning may name others.
    std::vector<ServerAddress> m_pageServers;
    std::vector<std::string> m_cti;
    size_t m_serverIndex = 0;
    std::string m_email;
    std::string m_user;    // the identity's user part: the line
    std::string m_domain;  // the identity's domain
    std::string m_authUser;
    // This attempt's password, only until the registrar accepts it (never
    // written anywhere), for a realm other than the domain.
    std::string m_password;
    unsigned m_authenticator = 0;
    unsigned m_nextAuthenticator = 1;
    RetryBackoff m_backoff;
    bool m_retryCheckPosted = false;
    // The registration attempt under way, as the TLS check files its findings.
    unsigned m_attempt = 0;
    // A registrar's certificate waiting for the user's decision.
    bool m_certificatePending = false;
    CertificateReport m_pendingCertificate;
    unsigned m_nextCertificateReference = 1;
};

}  // namespace zep
}  // namespace tessel
