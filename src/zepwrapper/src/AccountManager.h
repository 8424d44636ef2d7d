#pragma once

#include <memory>
#include <string>
#include <vector>

#include <zepwrapper/ZepDeviceAndPhoneInfo.h>
#include <zepwrapper/ZepPhoneInfo.h>

#include "FrameworkContext.h"

typedef struct _LinphoneAccount LinphoneAccount;

namespace tessel {
namespace zep {

// Sign-in, the SIP account and its registration, the softphone device and
// line, and the connection state the pages see. Runs on the pumping thread.
class AccountManager {
public:
    typedef std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>> PhoneList;

    explicit AccountManager(FrameworkContext context);
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
    // The SIP domain of the signed-in identity ("example.com"), "" when none.
    std::string sipDomain() const;
    // The line's directory number (the account's user part), "" when none.
    std::string lineNumber() const;

private:
    FrameworkContext m_context;
};

}  // namespace zep
}  // namespace tessel
