#include "linux/windows/pointer_messages.h"

#include <algorithm>
#include <iterator>

namespace win32 {

namespace {

struct Range {
    UINT first;
    UINT last;
};

// In rising order. Of the controls' own messages whole ranges, as nearly all of them carry one.
constexpr Range ranges[] = {
    {0x0001, 0x0001},  // WM_CREATE
    {0x000C, 0x000D},  // WM_SETTEXT, WM_GETTEXT
    {0x0024, 0x0024},  // WM_GETMINMAXINFO
    {0x002B, 0x002D},  // WM_DRAWITEM, WM_MEASUREITEM, WM_DELETEITEM
    {0x0039, 0x0039},  // WM_COMPAREITEM
    {0x0046, 0x0047},  // WM_WINDOWPOSCHANGING, WM_WINDOWPOSCHANGED
    {0x004A, 0x004A},  // WM_COPYDATA
    {0x004E, 0x004E},  // WM_NOTIFY
    {0x0053, 0x0053},  // WM_HELP
    {0x007C, 0x007D},  // WM_STYLECHANGING, WM_STYLECHANGED
    {0x0081, 0x0081},  // WM_NCCREATE
    {0x0083, 0x0083},  // WM_NCCALCSIZE
    {0x00B0, 0x00D9},  // of edit controls
    {0x0140, 0x0164},  // of combo boxes
    {0x0180, 0x01B5},  // of list boxes
    {0x0213, 0x0214},  // WM_NEXTMENU, WM_SIZING
    {0x0216, 0x0216},  // WM_MOVING
    {0x0220, 0x0220},  // WM_MDICREATE
    {0x030C, 0x030C},  // WM_ASKCBFORMATNAME
};

}  // namespace

bool carriesPointer(UINT message) {
    const auto* const range = std::lower_bound(std::begin(ranges), std::end(ranges), message,
                                               [](const Range& each, UINT wanted) { return each.last < wanted; });
    return range != std::end(ranges) && message >= range->first;
}

}  // namespace win32
