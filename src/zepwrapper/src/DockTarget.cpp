#include "DockTarget.h"

#include <algorithm>

namespace tessel {
namespace zep {

DockTarget::Rect DockTarget::rect(const Rect& browser, const VideoWindowView::Placement& p) {
    // Without the viewport's height yet, the page is taken to fill the window.
    const int pageHeight = p.pageHeight > 0 && p.pageHeight <= browser.height ? p.pageHeight : browser.height;
    const int pageTop = browser.y + browser.height - pageHeight;
    const bool cropped = p.cropWidth > 0 && p.cropHeight > 0;
    Rect r;
    r.x = browser.x + p.offsetX + (cropped ? p.cropX : 0);
    r.y = pageTop + p.offsetY + (cropped ? p.cropY : 0);
    r.width = std::max(1, cropped ? p.cropWidth : p.width);
    r.height = std::max(1, cropped ? p.cropHeight : p.height);
    return r;
}

}  // namespace zep
}  // namespace tessel
