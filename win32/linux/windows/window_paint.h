// Drawing what is visible of the model's windows.
#pragma once

#include "linux/windows/window_model.h"

namespace win32 {

// Has the window and all in it drawn anew. The model is not locked.
void invalidate(HWND window);

// A visible window of the queue's thread that is to be drawn, parents first; null if there is none. The model is
// locked.
HWND windowToPaint(const MessageQueue& queue);

// The desktop forgets a window that goes. The model is not locked.
void forgetShown(HWND window);

// The procedure of the class "Static".
LRESULT CALLBACK staticControl(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

}  // namespace win32
