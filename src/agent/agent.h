// The agent's central object and its window.
//
// The window is the target of what other threads and processes have to say; everything that changes the agent's state
// happens in its procedure, on the main thread.
#pragma once

#include <memory>

#include "update/launcher.h"
#include "win32/window.h"

namespace agent {

// Messages to the agent's window, wParam and lParam 0.
enum AgentMessage : UINT {
    AGENT_MSG_RESERVED = WM_USER + 3,             // accepted and ignored
    AGENT_MSG_RESTART_APPLICATION = WM_USER + 4,  // posted by the main application: start it again when it has gone
};

// Main thread only, written by the window procedure and read by the main loop.
extern bool agentExitRequested;
extern bool applicationRestartPending;

class ZelmoDocksetAgent {
public:
    static std::shared_ptr<ZelmoDocksetAgent> create();
    ZelmoDocksetAgent(const ZelmoDocksetAgent&) = delete;
    ZelmoDocksetAgent& operator=(const ZelmoDocksetAgent&) = delete;
    ~ZelmoDocksetAgent() = default;

    // Makes the window and what belongs to it. False, with lines in the log, if the agent can't run.
    bool init(HINSTANCE instance);

    // Null before init has succeeded.
    const std::shared_ptr<base::Launcher>& launcher() const { return launcher_; }

private:
    ZelmoDocksetAgent() = default;

    bool createWindow();
    static LRESULT CALLBACK staticWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    std::weak_ptr<ZelmoDocksetAgent> selfReference_;
    HINSTANCE instance_ = nullptr;
    HWND window_ = nullptr;
    std::shared_ptr<base::Launcher> launcher_;
};

}  // namespace agent
