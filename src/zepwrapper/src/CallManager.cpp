#include "CallManager.h"

#include "AccountManager.h"
#include "ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/CallManager";

namespace {
int notSupported(const char* operation) {
    ZEP_LOG(OZKLogLevelNotice, kSrc, operation << ": not supported");
    return kResultOperationNotSupported;
}
}  // namespace

CallManager::CallManager(FrameworkContext context, const AccountManager& account)
    : m_context(context), m_account(account) {}

CallManager::~CallManager() = default;

void CallManager::onEngineStarted() {}

void CallManager::onEngineStopping() {}

int CallManager::joinCalls(int, int) { return notSupported("joinCalls"); }

int CallManager::transferCall(int, const std::string&) { return notSupported("transferCall"); }

int CallManager::originate(const std::string&, int&, const std::string&, uint64_t) { return notSupported("originate"); }

int CallManager::answer(int, const std::string&, uint64_t) { return notSupported("answer"); }

int CallManager::endCall(int) { return notSupported("endCall"); }

int CallManager::mute(int, bool, bool) { return notSupported("mute"); }

int CallManager::unmute(int, bool, bool) { return notSupported("unmute"); }

int CallManager::hold(int) { return notSupported("hold"); }

int CallManager::resume(int) { return notSupported("resume"); }

int CallManager::iDivert(int) { return notSupported("iDivert"); }

int CallManager::sendDTMF(int, const std::string&) { return notSupported("sendDTMF"); }

int CallManager::setVideoDirection(int, const std::string&) { return notSupported("setVideoDirection"); }

int CallManager::completeTransferCall(int) { return notSupported("completeTransferCall"); }

int CallManager::cancelTransfer(int) { return notSupported("cancelTransfer"); }

int CallManager::getCalls(std::vector<int>&) { return notSupported("getCalls"); }

int CallManager::getCallInfo(int, std::shared_ptr<ZepCallInfo>& call) {
    call.reset();
    return notSupported("getCallInfo");
}

}  // namespace zep
}  // namespace tessel
