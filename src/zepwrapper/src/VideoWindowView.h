#pragma once

#include <functional>
#include <string>

namespace tessel {
namespace zep {

// The external video window as seen from the framework: a native window with
// a video area, a self-view picture-in-picture and a controls bar. The
// framework's logic (ExternalWindow) talks to it through this interface, so
// it is testable without a screen. Called on the pumping thread; what the
// view reports comes back through the Events, posted to the pumping thread.
class VideoWindowView {
public:
    // What the window shows; the whole look is passed on every change.
    struct Look {
        std::string title;
        bool alwaysOnTop = false;
        bool controls = false;
        bool selfViewPip = false;
        // The call's situation, for the controls.
        bool call = false;  // showing a call (else the camera preview)
        bool audioMuted = false;
        bool videoMuted = false;
        bool held = false;
        std::string videoDirection = "Inactive";
    };
    // Where docked, as the page gives it: the video element's place in the
    // page's viewport, the viewport's size (0 when not known yet) and the
    // part of the element that is visible.
    struct Placement {
        int offsetX = 0;
        int offsetY = 0;
        int width = 0;
        int height = 0;
        int pageWidth = 0;
        int pageHeight = 0;
        int cropX = 0;
        int cropY = 0;
        int cropWidth = 0;
        int cropHeight = 0;
    };
    enum class Button { MuteAudio, UnmuteAudio, MuteVideo, UnmuteVideo, End, Resume, VideoDirection, Digit, Hide };

    struct Events {
        // A press; text is the direction or digit where the button has one.
        std::function<void(Button button, const std::string& text)> pressed;
        // The window was closed by the user or the window manager.
        std::function<void()> closed;
    };

    virtual ~VideoWindowView() = default;
    // Where the view reports to; set once, before anything is shown.
    virtual void setEvents(Events events) = 0;
    // Whether a window can be shown at all here, and if not, why.
    virtual bool available(std::string& why) = 0;
    virtual void show(const Look& look) = 0;
    virtual void hide() = 0;
    // Docked: placed over the page in the browser's window that started
    // us, following it; false (and why) when that cannot be done here.
    virtual bool dock(const Placement& placement, std::string& why) = 0;
    virtual void undock() = 0;
    // What the engine's renderer draws into, handed to the engine as a
    // window id: the video area and the picture-in-picture. They exist as
    // long as the view does, shown or not.
    virtual void* videoTarget() = 0;
    virtual void* pipTarget() = 0;
};

}  // namespace zep
}  // namespace tessel
