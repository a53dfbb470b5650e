// What happens at the icon of the calling thread. The model is not locked.
#pragma once

#include "win32/notify_icon.h"

namespace win32 {

// Tells the icon's window of an event at a place of the screen; false if there is no icon or its window takes no more.
bool postIconEvent(UINT event, const POINT& point);

// Tells it of a choice in its menu.
void postIconCommand(UINT id);

// Whether the window hasn't taken the last event of this kind yet.
bool isIconEventWaiting(UINT event);

// The taskbar has come (again): the icon of before is gone, and all windows are told.
void announceTaskbar();

}  // namespace win32
