#pragma once

#include <memory>
#include <string>

#include <zepwrapper/ZepExternalWindowObserver.h>

#include "bridge/ManagedEventObserverBase.h"

namespace tessel {

// The external video window: its state goes to the page as
// "externalwindowevent", and the buttons pressed in it come back as the very
// command tasks a page would send ("mute", "endCall", ...), looked up by name
// in the task registry.
class ZepWExternalWindowObserverImpl : public ManagedEventObserverBase,
                                       public ZepExternalWindowObserver,
                                       public std::enable_shared_from_this<ZepWExternalWindowObserverImpl> {
public:
    void registerSelf() override;
    void unregisterSelf() override;

    void onExternalWindowEvent(std::shared_ptr<ExternalWindowState> state) override;
    void onExternalWindowMute(int callId, bool audio, bool video) override;
    void onExternalWindowUnmute(int callId, bool audio, bool video) override;
    void onExternalWindowEndCall(int callId) override;
    void onExternalWindowResume(int callId) override;
    void onExternalWindowSetVideoDirection(int callId, const std::string& direction) override;
    void onExternalWindowSendDTMF(int callId, const std::string& digit) override;
    void onExternalWindowHideWindow() override;

private:
    // Creates the command's task with a request of that name and content
    // (null for none) and queues it.
    void _queueCommand(const std::string& commandName, std::shared_ptr<Ptree> content);
};

}  // namespace tessel
