#pragma once

#include <memory>
#include <string>

#include "ExternalWindowState.h"
#include "IObserverObject.h"

// State of the external video window, and the buttons pressed in it.
class ZepExternalWindowObserver : public IObserverObject {
public:
    virtual void onExternalWindowEvent(std::shared_ptr<ExternalWindowState> state) = 0;
    virtual void onExternalWindowMute(int callId, bool audio, bool video) = 0;
    virtual void onExternalWindowUnmute(int callId, bool audio, bool video) = 0;
    virtual void onExternalWindowEndCall(int callId) = 0;
    virtual void onExternalWindowResume(int callId) = 0;
    virtual void onExternalWindowSetVideoDirection(int callId, const std::string& direction) = 0;
    virtual void onExternalWindowSendDTMF(int callId, const std::string& digit) = 0;
    virtual void onExternalWindowHideWindow() = 0;
};
