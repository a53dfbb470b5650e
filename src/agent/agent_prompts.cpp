// The user's commands, and the prompts of an update.

#include <utility>

#include "agent/agent.h"
#include "base/log.h"

namespace agent {

namespace {

// A check's report, on the worker's thread, which posts to the window what to offer.
void postOffer(base::UpdateHandler& handler, HWND window) {
    switch (handler.offer()) {
        case base::UpdateOffer::Available:
            PostMessageW(window, AGENT_MSG_UPDATE_AVAILABLE, 0, 0);
            handler.enqueueFetch();
            break;
        case base::UpdateOffer::Downloaded:
            PostMessageW(window, AGENT_MSG_UPDATE_DOWNLOADED, 0, 0);
            break;
        case base::UpdateOffer::None:
            break;
    }
}

// Does `act` on success.
template <typename Act>
base::UpdateCallback onSuccess(Act act) {
    return [act](std::size_t, std::size_t, base::ResultCode code) {
        if (code == base::Success) {
            act();
        }
        return false;
    };
}

}  // namespace

void ZelmoDocksetAgent::startUpdates(std::unique_ptr<base::UpdateHandler> handler,
                                     const base::CheckSchedule& schedule) {
    updateHandler_ = std::move(handler);
    updateInterval_ = schedule.interval;
    updateHandler_->reportFetchesTo(
        onSuccess([window = window_] { PostMessageW(window, AGENT_MSG_UPDATE_DOWNLOADED, 0, 0); }));
    SetTimer(window_, AGENT_TIMER_UPDATE_CHECK, schedule.first, nullptr);
}

// The first tick comes at a time of its own; from there on the interval counts.
void ZelmoDocksetAgent::onUpdateTimer(HWND window) {
    if (!updateHandler_) {
        return;
    }
    if (const UINT interval = std::exchange(updateInterval_, 0); interval != 0) {
        SetTimer(window, AGENT_TIMER_UPDATE_CHECK, interval, nullptr);
    }
    queueUpdateCheck(window);
}

// One that waits behind a long fetch answers for all the ticks until then: each of them would ask the server for the
// same again.
void ZelmoDocksetAgent::queueUpdateCheck(HWND window) {
    if (updateCheckWaits_.exchange(true)) {
        return;
    }
    updateHandler_->enqueue([this, window, &handler = *updateHandler_] {
        updateCheckWaits_ = false;
        handler.checkForUpdate(onSuccess([&handler, window] { postOffer(handler, window); }));
    });
}

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
        base::logLine("Failed to disable menu option, download");
    }
}

void ZelmoDocksetAgent::installDownloadedUpdate() {
    state_ = AgentState::Idle;
    if (!menu_->removeEntry(AGENT_CMD_INSTALL_UPDATE)) {
        base::logLine("Failed to disable menu option, update");
    }
    if (updateHandler_) {
        base::UpdateHandler& handler = *updateHandler_;
        handler.enqueue([&handler] { handler.installUpdate(onSuccess([] {})); });
    }
}

}  // namespace agent
