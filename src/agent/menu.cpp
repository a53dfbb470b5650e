#include "agent/menu.h"

#include <stdexcept>
#include <utility>

#include "base/log_receiver.h"
#include "win32/error.h"

namespace agent {

namespace {

constexpr UINT separatorId = 4;

void log(const char* text) { base::logMessage("agent", text); }

}  // namespace

ShortcutMenu::ShortcutMenu(std::shared_ptr<Messages> messages)
    : messages_(std::move(messages)), handle_(CreatePopupMenu()) {
    if (handle_ == nullptr) {
        throw std::runtime_error("Failed to create popup menu.");
    }
    if (!appendItems()) {
        DestroyMenu(handle_);
        throw std::runtime_error("Failed to append menu items.");
    }
}

bool ShortcutMenu::appendItems() {
    return AppendMenuW(handle_, MF_STRING, AGENT_CMD_LAUNCH, messages_->launch.c_str()) != FALSE &&
           AppendMenuW(handle_, MF_SEPARATOR, separatorId, nullptr) != FALSE &&
           AppendMenuW(handle_, MF_STRING, AGENT_CMD_CLOSE, messages_->close.c_str()) != FALSE;
}

ShortcutMenu::~ShortcutMenu() {
    if (DestroyMenu(handle_) == FALSE) {
        log("Failed to destroy menu.");
    }
}

bool ShortcutMenu::show(HWND window, int x, int y) {
    // Without the foreground the menu wouldn't close when the user clicks elsewhere.
    if (SetForegroundWindow(window) == FALSE) {
        log("Failed to set foreground window.");
        return false;
    }
    const UINT alignment = GetSystemMetrics(SM_MENUDROPALIGNMENT) != 0 ? TPM_RIGHTALIGN : TPM_LEFTALIGN;
    if (TrackPopupMenu(handle_, alignment | TPM_RIGHTBUTTON, x, y, 0, window, nullptr) == FALSE) {
        log("Failed to track popup menu.");
        return false;
    }
    if (PostMessageW(window, WM_NULL, 0, 0) == FALSE) {
        log("Failed to post benign message.");
        return false;
    }
    return true;
}

void ShortcutMenu::replaceUpdateEntry(AgentCommand command, const WideString& text) {
    removeEntry(AGENT_CMD_DOWNLOAD_UPDATE);
    removeEntry(AGENT_CMD_INSTALL_UPDATE);
    if (InsertMenuW(handle_, separatorId, MF_BYCOMMAND, command, text.c_str()) == FALSE) {
        log("Failed to insert menu item");
    }
}

bool ShortcutMenu::removeEntry(AgentCommand command) { return DeleteMenu(handle_, command, MF_BYCOMMAND) != FALSE; }

}  // namespace agent
