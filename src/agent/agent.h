// The agent's central object: its window, its icon and what the user does with them.
//
// The window is the target of what the desktop, other threads and other processes have to say, it owns the icon with
// its balloons, and it is itself the popup that shows the logo; it is hidden otherwise. Everything that changes the
// agent's state happens in its procedure, on the main thread.
#pragma once

#include <atomic>
#include <memory>

#include "agent/menu.h"
#include "agent/messages.h"
#include "base/object_names.h"
#include "update/check_schedule.h"
#include "update/launcher.h"
#include "update/update_handler.h"
#include "win32/drawing.h"
#include "win32/notify_icon.h"
#include "win32/window.h"

namespace agent {

// Messages to the agent's window. The icon's event has the form of NOTIFYICON_VERSION_4; the others come with 0, 0.
enum AgentMessage : UINT {
    AGENT_MSG_NOTIFY_ICON = WM_USER,
    AGENT_MSG_UPDATE_AVAILABLE = WM_USER + 1,
    AGENT_MSG_UPDATE_DOWNLOADED = WM_USER + 2,
    AGENT_MSG_RESERVED = WM_USER + 3,  // accepted and ignored
    AGENT_MSG_RESTART_APPLICATION = base::agentRestartMessage,
};

enum AgentTimer : UINT_PTR {
    AGENT_TIMER_UPDATE_CHECK = 11,
    AGENT_TIMER_POPUP_REARM = 12,
};

// Which update prompt is open, and so what a click on the balloon means.
enum class AgentState : std::uint32_t {
    Idle = 0,
    UpdateAvailable = 1,
    UpdateDownloaded = 2,
};

// Main thread only, written by the window procedure and read by the main loop.
extern bool agentExitRequested;
extern bool applicationRestartPending;

class ZelmoDocksetAgent {
public:
    static std::shared_ptr<ZelmoDocksetAgent> create();
    ZelmoDocksetAgent(const ZelmoDocksetAgent&) = delete;
    ZelmoDocksetAgent& operator=(const ZelmoDocksetAgent&) = delete;
    ~ZelmoDocksetAgent();

    // Makes the window and what belongs to it. False, with lines in the log, if the agent can't run.
    bool init(HINSTANCE instance);

    // Once, behind init: has updates checked in that schedule from now on.
    void startUpdates(std::unique_ptr<base::UpdateHandler> handler, const base::CheckSchedule& schedule);

    // Null before init has succeeded.
    const std::shared_ptr<base::Launcher>& launcher() const { return launcher_; }

private:
    ZelmoDocksetAgent();

    bool createWindow();
    bool createMenu();
    static LRESULT CALLBACK staticWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void onCreate(HWND window);
    void onDestroy();
    void onActivate(HWND window, WPARAM wParam);
    void onTimer(HWND window, WPARAM wParam);
    void onDrawItem(const DRAWITEMSTRUCT& item) const;
    bool onCommand(HWND window, WORD command);

    // False only if the tip doesn't fit; what the shell refuses is logged, and tried again with the next taskbar.
    bool addNotifyIcon();
    void onNotifyIcon(HWND window, WPARAM wParam, LPARAM lParam);
    bool showBalloon(const WideString& title, const WideString& text);
    // Beside the icon. Not within a double-click time after it was closed, so that the click that closes it doesn't
    // open it again.
    bool showPopup();
    bool findPopupPosition(RECT& position) const;

    void onUpdateTimer(HWND window);
    void queueUpdateCheck(HWND window);
    void onUpdateAvailable();
    void onUpdateDownloaded();
    void onBalloonClick();
    void closeDownloadPrompt();
    void installDownloadedUpdate();

    std::weak_ptr<ZelmoDocksetAgent> selfReference_;
    HINSTANCE instance_ = nullptr;
    HWND window_ = nullptr;
    std::unique_ptr<ShortcutMenu> menu_;
    NOTIFYICONDATAW notifyIcon_{};
    bool isIconDeleted_ = false;
    UINT taskbarCreatedMessage_ = 0;
    HBRUSH whiteBrush_;
    bool popupArmed_ = true;
    AgentState state_ = AgentState::Idle;
    std::shared_ptr<base::Launcher> launcher_;
    std::unique_ptr<base::UpdateHandler> updateHandler_;
    UINT updateInterval_ = 0;
    std::atomic<bool> updateCheckWaits_ = false;  // queued, and not begun
    std::shared_ptr<Messages> messages_;
    ULONG_PTR gdiplusToken_ = 0;
    HWND logoControl_ = nullptr;
    HBITMAP logoBitmap_ = nullptr;
};

}  // namespace agent
