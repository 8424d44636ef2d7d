#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <zepwrapper/ZepCallInfo.h>

#include "FrameworkContext.h"

namespace tessel {
namespace zep {

class AccountManager;

// The calls: placing, answering, holding, transferring and joining them on
// the engine, their ids, and the call-state events. Runs on the pumping thread.
class CallManager {
public:
    CallManager(FrameworkContext context, const AccountManager& account);
    ~CallManager();
    CallManager(const CallManager&) = delete;
    CallManager& operator=(const CallManager&) = delete;

    // The core has just started / is about to stop.
    void onEngineStarted();
    void onEngineStopping();

    int joinCalls(int callId, int joinCallId);
    int transferCall(int callId, const std::string& number);
    int originate(const std::string& recipient, int& callId, const std::string& videoDirection,
                  uint64_t windowhandle);
    int answer(int callId, const std::string& videoDirection, uint64_t windowhandle);
    int endCall(int callId);
    int mute(int callId, bool audio, bool video);
    int unmute(int callId, bool audio, bool video);
    int hold(int callId);
    int resume(int callId);
    int iDivert(int callId);
    int sendDTMF(int callId, const std::string& digit);
    int setVideoDirection(int callId, const std::string& direction);
    int completeTransferCall(int callId);
    int cancelTransfer(int callId);
    int getCalls(std::vector<int>& callIds);
    int getCallInfo(int callId, std::shared_ptr<ZepCallInfo>& call);

private:
    FrameworkContext m_context;
    const AccountManager& m_account;
};

}  // namespace zep
}  // namespace tessel
