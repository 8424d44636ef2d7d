#pragma once

#include <cstdint>
#include <string>

class ILog;

namespace tessel {

// The docked window's size and the part of it the page's video is cropped
// to, as "dockExternalWindow" and "dockUpdate" both receive and check them.
// The offsets and the page's size are not here: they may be negative (a page
// scrolled past the window) and are passed on as they are.
struct DockGeometry {
    int32_t width = 0;
    int32_t height = 0;
    int32_t cropOffsetX = 0;
    int32_t cropOffsetY = 0;
    int32_t cropWidth = 0;
    int32_t cropHeight = 0;

    // 0, or eInvalidArgument after a log line naming taskClass: a value is
    // negative, or the cropped area reaches past the window.
    int check(ILog* log, const char* source, const char* taskClass) const;

    // "width=.., height=.., cropOffsetX=.., cropOffsetY=.., cropWidth=.., cropHeight=.."
    std::string describe() const;
};

}  // namespace tessel
