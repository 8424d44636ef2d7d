#include "AccountManager.h"

#include "ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/AccountManager";

namespace {
int notSupported(const char* operation) {
    ZEP_LOG(OZKLogLevelNotice, kSrc, operation << ": not supported");
    return kResultOperationNotSupported;
}
}  // namespace

AccountManager::AccountManager(FrameworkContext context) : m_context(context) {}

AccountManager::~AccountManager() = default;

void AccountManager::onEngineStarted() {}

void AccountManager::onEngineStopping() {}

int AccountManager::logout() { return notSupported("logout"); }

void AccountManager::setLoryAddressList(const std::vector<std::string>&) { notSupported("setLoryAddressList"); }

void AccountManager::setTftpAddressList(const std::vector<std::string>&) { notSupported("setTftpAddressList"); }

void AccountManager::setCtiAddressList(const std::vector<std::string>&) { notSupported("setCtiAddressList"); }

int AccountManager::startSignIn(bool) { return notSupported("startSignIn"); }

int AccountManager::setUserProfileEmailAddress(const std::string&) { return notSupported("setUserProfileEmailAddress"); }

int AccountManager::setUserProfileCredentials(unsigned, const std::string&, const std::string&) { return notSupported("setUserProfileCredentials"); }

int AccountManager::getConnectionStatus(std::string&) { return notSupported("getConnectionStatus"); }

int AccountManager::getMode(std::string&) { return notSupported("getMode"); }

int AccountManager::connect(const std::string&, const std::string&, bool) { return notSupported("connect"); }

int AccountManager::getAvailableDevices(PhoneList&) { return notSupported("getAvailableDevices"); }

int AccountManager::resetData() { return notSupported("resetData"); }

int AccountManager::encryptPboxPassword(const std::string&, std::string&) { return notSupported("encryptPboxPassword"); }

int AccountManager::configure(const std::string&, const std::string&) { return notSupported("configure"); }

int AccountManager::handleInvalidCertificate(const std::string&, bool) { return notSupported("handleInvalidCertificate"); }

std::shared_ptr<ZepDeviceAndPhoneInfo> AccountManager::getDeviceAndPhoneInfo() {
    return std::shared_ptr<ZepDeviceAndPhoneInfo>();
}

LinphoneAccount* AccountManager::currentAccount() const { return nullptr; }

std::string AccountManager::sipDomain() const { return std::string(); }

std::string AccountManager::lineNumber() const { return std::string(); }

}  // namespace zep
}  // namespace tessel
