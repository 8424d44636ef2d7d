#pragma once

#include <sys/types.h>

#include "VideoWindowView.h"

namespace tessel {
namespace zep {

// Where a docked window goes on the screen. A browser's top-level window
// holds its toolbars above the page; the page's viewport fills the rest of
// it, down to the bottom edge, less a frame of the browser's own as wide at
// the sides as at the bottom (the page's width tells how wide).
struct DockTarget {
    struct Rect {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
    };
    // The browser window's client area on the screen and the page's
    // placement: the visible part of the video element, on the screen;
    // empty (0 wide or high) when none of it is in view.
    static Rect rect(const Rect& browser, const VideoWindowView::Placement& placement);
};

}  // namespace zep
}  // namespace tessel
