// Where a popup goes.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>

#include "linux/support/scripted.h"
#include "linux/windows/presenter.h"
#include "win32/window.h"

namespace win32 {

namespace {

bool overlap(const RECT& a, const RECT& b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

bool isInside(const RECT& inner, const RECT& outer) {
    return inner.left >= outer.left && inner.right <= outer.right && inner.top >= outer.top &&
           inner.bottom <= outer.bottom;
}

RECT movedTo(const RECT& rectangle, LONG left, LONG top) {
    return {left, top, left + rectangle.right - rectangle.left, top + rectangle.bottom - rectangle.top};
}

// What is too large keeps its left and upper edge in sight.
RECT keptInside(const RECT& rectangle, const RECT& area) {
    const LONG left = std::max(area.left, std::min(rectangle.left, area.right - (rectangle.right - rectangle.left)));
    const LONG top = std::max(area.top, std::min(rectangle.top, area.bottom - (rectangle.bottom - rectangle.top)));
    return movedTo(rectangle, left, top);
}

LONG distance(LONG value, LONG low, LONG high) { return std::max({low - value, value - (high - 1), 0}); }

const Monitor& nearestMonitor(const std::vector<Monitor>& monitors, const POINT& point) {
    const auto far = [&](const Monitor& monitor) {
        const RECT& bounds = monitor.bounds;
        return distance(point.x, bounds.left, bounds.right) + distance(point.y, bounds.top, bounds.bottom);
    };
    return *std::min_element(monitors.begin(), monitors.end(),
                             [&](const Monitor& a, const Monitor& b) { return far(a) < far(b); });
}

LONG aligned(LONG anchor, LONG size, bool centered, bool before) {
    return centered ? anchor - size / 2 : before ? anchor - size : anchor;
}

// The nearer one of the two candidates, vertically or horizontally beside `exclude`, that lies inside of the area.
std::optional<RECT> beside(const RECT& rectangle, const RECT& exclude, const RECT& area, bool vertically) {
    const LONG width = rectangle.right - rectangle.left;
    const LONG height = rectangle.bottom - rectangle.top;
    std::array<RECT, 2> candidates = {vertically ? movedTo(rectangle, rectangle.left, exclude.top - height)
                                                 : movedTo(rectangle, exclude.left - width, rectangle.top),
                                      vertically ? movedTo(rectangle, rectangle.left, exclude.bottom)
                                                 : movedTo(rectangle, exclude.right, rectangle.top)};
    const auto way = [&](const RECT& bounds) {
        return std::abs(bounds.left - rectangle.left) + std::abs(bounds.top - rectangle.top);
    };
    if (way(candidates[1]) < way(candidates[0])) {
        std::swap(candidates[0], candidates[1]);
    }
    for (const RECT& bounds : candidates) {
        if (isInside(bounds, area)) {
            return bounds;
        }
    }
    return std::nullopt;
}

RECT popupRectangle(const POINT& anchor, const SIZE& size, UINT flags, const RECT* exclude, const RECT& area) {
    const LONG left = aligned(anchor.x, size.cx, (flags & TPM_CENTERALIGN) != 0, (flags & TPM_RIGHTALIGN) != 0);
    const LONG top = aligned(anchor.y, size.cy, (flags & TPM_VCENTERALIGN) != 0, (flags & TPM_BOTTOMALIGN) != 0);
    const RECT bounds = keptInside({left, top, left + size.cx, top + size.cy}, area);
    if (exclude == nullptr || !overlap(bounds, *exclude)) {
        return bounds;
    }
    const bool vertically = (flags & TPM_VERTICAL) != 0;
    const auto moved = beside(bounds, *exclude, area, vertically);
    return moved ? *moved : beside(bounds, *exclude, area, !vertically).value_or(bounds);
}

}  // namespace

}  // namespace win32

BOOL WINAPI CalculatePopupWindowPosition(const POINT* anchor, const SIZE* size, UINT flags, RECT* exclude,
                                         RECT* rectangle) {
    WIN32_MAY_FAIL("CalculatePopupWindowPosition", FALSE);
    constexpr UINT horizontal = TPM_CENTERALIGN | TPM_RIGHTALIGN;
    constexpr UINT vertical = TPM_VCENTERALIGN | TPM_BOTTOMALIGN;
    if (anchor == nullptr || size == nullptr || rectangle == nullptr || size->cx < 0 || size->cy < 0 ||
        (flags & horizontal) == horizontal || (flags & vertical) == vertical) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const auto monitors = win32::presenter().monitors();
    if (monitors.empty()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    const win32::Monitor& monitor = win32::nearestMonitor(monitors, *anchor);
    const bool inWorkArea = (flags & TPM_WORKAREA) != 0;
    *rectangle = win32::popupRectangle(*anchor, *size, flags, exclude, inWorkArea ? monitor.workArea : monitor.bounds);
    return TRUE;
}
