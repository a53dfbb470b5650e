// What the platform has the desktop show, and how it reaches the suite's windows.
#include <array>
#include <string>

#include "base/log_receiver.h"
#include "base/object_names.h"
#include "base/text.h"
#include "platform/platform_win32.h"
#include "win32/shell.h"
#include "win32/window.h"

namespace dockset {

namespace {

constexpr const char* tag = "PlatformWin32";

void browse(const WideString& path) {
    constexpr INT_PTR lowestSuccess = 33;
    const HINSTANCE result = ShellExecuteW(nullptr, W("open"), path.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    if (reinterpret_cast<INT_PTR>(result) < lowestSuccess) {
        base::logMessage("browseMyZelmo", "ShellExecuteW failed with " + std::to_string(GetLastError()));
    }
}

BOOL CALLBACK postRestart(HWND window, LPARAM found) {
    std::array<char, 254> name{};
    GetClassNameA(window, name.data(), static_cast<int>(name.size()));
    if (base::widen(name.data()) == base::agentWindowClass &&
        PostMessageW(window, base::agentRestartMessage, 0, 0) != FALSE) {
        *reinterpret_cast<bool*>(found) = true;
    }
    return TRUE;
}

void closeWindow(void* window, const char* operation) {
    if (PostMessageW(static_cast<HWND>(window), WM_CLOSE, 0, 0) == FALSE) {
        base::logMessage(tag, operation + (" failed to post WM_CLOSE with error " + std::to_string(GetLastError())));
    }
}

}  // namespace

void PlatformWin32::openUrl(const std::string& url) {
    ShellExecuteA(nullptr, "open", url.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

void PlatformWin32::browseMyZelmo(const WCHAR* name) {
    browse(WideString(W("::{20D04FE0-3AEA-1069-A2D8-08002B30309D}\\")) + name);
}

void PlatformWin32::browseMyZelmo(const WideString& path) { browse(path); }

void PlatformWin32::restartZelmoDockset() {
    bool found = false;
    EnumWindows(postRestart, reinterpret_cast<LPARAM>(&found));
    if (!found) {
        base::logMessage(tag, "restartZelmoDockset failed to notify agent, Zelmo Dockset will not be auto-restarted");
    }
    closeWindow(mainWindow_, "restartZelmoDockset");
}

void PlatformWin32::exitZelmoDockset() { closeWindow(mainWindow_, "exitZelmoDockset"); }

}  // namespace dockset
