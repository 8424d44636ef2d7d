#pragma once

#include <memory>

#include "VideoWindowView.h"

namespace tessel {
namespace zep {

// The external window in GTK 3. The engine's frames reach its areas through
// VideoFrameSinks and are painted by GTK. Every GTK call runs on the thread
// that runs the desktop's main loop (the host's main thread), queued there
// from the pumping thread; nothing waits for it. Never destroyed while the
// process runs, so the engine never draws into a window that is gone.
// Docking needs global window coordinates: X11, not a Wayland session.
class VideoWindowGtk : public VideoWindowView {
public:
    VideoWindowGtk();
    ~VideoWindowGtk() override;

    void setEvents(Events events) override;
    bool available(std::string& why) override;
    void show(const Look& look) override;
    void hide() override;
    bool dock(const Placement& placement, std::string& why) override;
    void undock() override;
    void* videoTarget() override;
    void* pipTarget() override;

    struct Ui;

private:
    // The browser's top-level window: the one of our parent process (or its
    // parent's: a launcher may stand between), the active one if it is
    // among them; 0 when none.
    unsigned long findBrowserWindow();

    std::shared_ptr<Ui> m_ui;
    // Our own connection to the X server for looking up the browser's
    // window from the pumping thread; opened on first use.
    void* m_display = nullptr;
};

}  // namespace zep
}  // namespace tessel
