#include "DockTarget.h"

#include <algorithm>

namespace tessel {
namespace zep {

DockTarget::Rect DockTarget::rect(const Rect& browser, const VideoWindowView::Placement& p) {
    // The viewport is the bottom of the window, full width less the frame
    // the browser may draw itself: as wide at the sides as at the bottom.
    const bool known = p.pageWidth > 0 && p.pageHeight > 0;
    const int inset = known && p.pageWidth < browser.width ? (browser.width - p.pageWidth) / 2 : 0;
    // Without the viewport's size yet, the page is taken to fill the window.
    const int pageHeight = known && p.pageHeight + inset <= browser.height ? p.pageHeight : browser.height - inset;
    const int pageWidth = known ? std::min(p.pageWidth, browser.width) : browser.width;
    const int pageLeft = browser.x + inset;
    const int pageTop = browser.y + browser.height - inset - pageHeight;
    // The visible part of the element: the page's crop, else the element.
    const bool cropped = p.cropWidth > 0 && p.cropHeight > 0;
    int left = p.offsetX + (cropped ? p.cropX : 0);
    int top = p.offsetY + (cropped ? p.cropY : 0);
    int right = left + (cropped ? p.cropWidth : p.width);
    int bottom = top + (cropped ? p.cropHeight : p.height);
    // Never over the browser's toolbars or past its page.
    if (known) {
        left = std::max(left, 0);
        top = std::max(top, 0);
        right = std::min(right, pageWidth);
        bottom = std::min(bottom, pageHeight);
    }
    Rect r;
    r.x = pageLeft + left;
    r.y = pageTop + top;
    r.width = std::max(0, right - left);
    r.height = std::max(0, bottom - top);
    return r;
}

}  // namespace zep
}  // namespace tessel
