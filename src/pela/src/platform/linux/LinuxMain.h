#pragma once

#include <functional>

namespace tessel {

// The main thread's application loop: GTK 3 when a display can be opened,
// otherwise a plain wait until quit() is called.
class LinuxMain {
public:
    // Opens the display if there is one; call once, on the main thread.
    static void init(int* argc, char*** argv);
    static bool hasDisplay();
    // Whether windows have places on one shared screen that another window
    // can be put over: X11 yes, a Wayland session (even through XWayland) or
    // no display at all no.
    static bool hasScreenCoordinates();
    // Runs until quit(); on the main thread.
    static void run();
    // From any thread: ends run().
    static void quit();
    // From any thread: runs fn on the main (GTK) thread without waiting.
    // Returns false when there is no display loop to run it.
    static bool runOnMainThread(std::function<void()> fn);
};

}  // namespace tessel
