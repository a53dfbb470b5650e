// The shortcut menu of the icon.
#pragma once

#include <memory>

#include "agent/messages.h"
#include "win32/menu.h"

namespace agent {

// The commands, as the ids of the menu's items and the low word of WM_COMMAND's wParam.
enum AgentCommand : UINT {
    AGENT_CMD_CLOSE = 0,
    AGENT_CMD_LAUNCH = 1,
    AGENT_CMD_DOWNLOAD_UPDATE = 2,
    AGENT_CMD_INSTALL_UPDATE = 3,
};

// Launch, at most one update entry, a separator, Close. Main thread only.
class ShortcutMenu {
public:
    // Throws std::runtime_error if the system doesn't make the menu.
    explicit ShortcutMenu(std::shared_ptr<Messages> messages);
    ShortcutMenu(const ShortcutMenu&) = delete;
    ShortcutMenu& operator=(const ShortcutMenu&) = delete;
    ~ShortcutMenu();

    // Shows it at a place of the screen; the choice comes to `window` as WM_COMMAND. False, with a line in the log, if
    // it can't be shown.
    bool show(HWND window, int x, int y);

    // Puts the update entry of that command, with that text, in the place of any other. A failure is logged.
    void replaceUpdateEntry(AgentCommand command, const WideString& text);

    // False if there is no such entry.
    bool removeEntry(AgentCommand command);

private:
    bool appendItems();

    std::shared_ptr<Messages> messages_;
    HMENU handle_;
};

}  // namespace agent
