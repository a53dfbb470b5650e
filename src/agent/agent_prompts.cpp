// The user's commands, and the prompts of an update.

#include "agent/agent.h"
#include "agent/log.h"

namespace agent {

bool ZelmoDocksetAgent::onCommand(HWND window, WORD command) {
    switch (command) {
        case AGENT_CMD_CLOSE:
            DestroyWindow(window);
            agentExitRequested = true;
            return true;
        case AGENT_CMD_LAUNCH:
            launcher_->startMainApplication();
            return true;
        case AGENT_CMD_DOWNLOAD_UPDATE:
            closeDownloadPrompt();
            return true;
        case AGENT_CMD_INSTALL_UPDATE:
            installDownloadedUpdate();
            return true;
        default:
            return false;
    }
}

void ZelmoDocksetAgent::onUpdateAvailable() {
    state_ = AgentState::UpdateAvailable;
    menu_->replaceUpdateEntry(AGENT_CMD_DOWNLOAD_UPDATE, messages_->downloadUpdate);
    showBalloon(messages_->updateAvailableHeader, messages_->updateAvailableText);
}

void ZelmoDocksetAgent::onUpdateDownloaded() {
    state_ = AgentState::UpdateDownloaded;
    menu_->replaceUpdateEntry(AGENT_CMD_INSTALL_UPDATE, messages_->installUpdate);
    showBalloon(messages_->updateDownloadedHeader, messages_->updateDownloadedText);
}

void ZelmoDocksetAgent::onBalloonClick() {
    if (state_ == AgentState::UpdateAvailable) {
        closeDownloadPrompt();
    } else if (state_ == AgentState::UpdateDownloaded) {
        installDownloadedUpdate();
    }
}

// Fetching is the main application's own affair: the agent only hands over to it.
void ZelmoDocksetAgent::closeDownloadPrompt() {
    launcher_->startMainApplication();
    state_ = AgentState::Idle;
    if (!menu_->removeEntry(AGENT_CMD_DOWNLOAD_UPDATE)) {
        logLine("Failed to disable menu option, download");
    }
}

void ZelmoDocksetAgent::installDownloadedUpdate() {
    state_ = AgentState::Idle;
    if (!menu_->removeEntry(AGENT_CMD_INSTALL_UPDATE)) {
        logLine("Failed to disable menu option, update");
    }
}

}  // namespace agent
