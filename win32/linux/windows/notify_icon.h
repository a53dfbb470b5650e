// What happens at the icon of the calling thread. The model is not locked.
#pragma once

#include "win32/notify_icon.h"

namespace win32 {

// Posts an event at a point of the screen to the icon's window; false if there is no icon or its window takes no more.
bool postIconEvent(UINT event, const POINT& point);

// Posts a choice in its menu to it.
void postIconCommand(UINT id);

// Whether the window hasn't taken the last event of this kind yet.
bool isIconEventWaiting(UINT event);

// The taskbar has come (again): the icon of before is gone, and all windows are notified.
void announceTaskbar();

}  // namespace win32
