#pragma once

#include <memory>
#include <string>

#include <zepwrapper/ExternalWindowState.h>

#include "FrameworkContext.h"
#include "VideoWindowView.h"

namespace tessel {
namespace zep {

class CallManager;

// The external video window's logic: which call (or the camera preview) it
// shows, its title, flags and docking, the engine's video drawn into it, the
// state told to observers on every change ("onExternalWindowEvent"), and its
// buttons turned into the observers' window callbacks. The window itself is
// a VideoWindowView. Runs on the pumping thread.
class ExternalWindow {
public:
    ExternalWindow(FrameworkContext context, CallManager& calls, std::unique_ptr<VideoWindowView> view);
    ~ExternalWindow();
    ExternalWindow(const ExternalWindow&) = delete;
    ExternalWindow& operator=(const ExternalWindow&) = delete;

    int showCall(int callId);
    int showPreview();
    void hide();
    // Tells the observers the state as it is.
    void reportState();
    int setAlwaysOnTop(bool onTop);
    int setShowControls(bool show);
    int setShowSelfViewPip(bool show);
    int setTitle(const std::string& title);
    // The window's video area takes a call's video without changing whether
    // the window is shown; removing it leaves the area empty.
    int addWindowToCall(int callId);
    int removeWindowFromCall(int callId);
    // The camera preview as picture-in-picture, on or off.
    int addPreviewWindow();
    int removePreviewWindow();
    int dock(const VideoWindowView::Placement& placement, const std::string& title);
    int dockUpdate(const VideoWindowView::Placement& placement);
    int undock();

    // A call changed (state, mute, direction) or ended.
    void onCallChanged(int callId);
    // The engine stops: nothing may be drawn any more.
    void onEngineStopping();

private:
    bool usable(const char* operation);
    VideoWindowView::Look look() const;
    // Points the engine's video at the window's areas, or away from them.
    void attach();
    void detach();
    void refresh();
    void emit();
    void onPressed(VideoWindowView::Button button, const std::string& text);

    FrameworkContext m_context;
    CallManager& m_calls;
    std::unique_ptr<VideoWindowView> m_view;
    ExternalWindowState m_state;
    int m_videoCall = -1;  // the call whose video the area takes, -1 for none
};

}  // namespace zep
}  // namespace tessel
