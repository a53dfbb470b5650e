#include "agent/agent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "agent/main_loop.h"
#include "base/log.h"
#include "base/object_names.h"
#include "captured_log.h"
#include "manifests.h"
#include "temp_session.h"
#include "win32/kernel.h"
#include "win32/mutex.h"
#include "win32/script.h"

namespace {

using tests::Lines;

// Answers every request alike.
struct OneAnswer : base::Downloader {
    void download(std::string, base::Bytes& bytes, const base::ProgressCallback& callback) override {
        while (isHeld) {
            std::this_thread::yield();
        }
        bytes = tests::bytesOf(answer);
        callback(1, 1, base::Success);
        ++requests;
    }
    void cancel() override {}
    std::string answer;
    std::atomic<bool> isHeld = false;
    std::atomic<int> requests = 0;
};

// An agent whose icon and menu are the layer's model, with no desktop behind it.
class AgentTest : public testing::Test {
protected:
    AgentTest() { agent::agentExitRequested = agent::applicationRestartPending = false; }
    ~AgentTest() override {
        if (window() != nullptr) {
            DestroyWindow(window());
        }
        agent_.reset();
        win32::script::reset();
    }

    bool init() { return agent_->init(GetModuleHandleW(nullptr)); }

    // The one window of the agent's class in this test's session.
    static HWND window() {
        HWND found = nullptr;
        EnumWindows(
            [](HWND candidate, LPARAM parameter) -> BOOL {
                *reinterpret_cast<HWND*>(parameter) = candidate;
                return FALSE;
            },
            reinterpret_cast<LPARAM>(&found));
        return found;
    }

    static LRESULT send(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
        return SendMessageW(window(), message, wParam, lParam);
    }
    static void iconEvent(UINT event, WORD id = 101) {
        send(agent::AGENT_MSG_NOTIFY_ICON, MAKELONG(10, 20), MAKELONG(event, id));
    }

    template <typename Condition>
    static void runMessagesUntil(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            MSG message{};
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
                DispatchMessageW(&message);
            }
            Sleep(1);
        }
        ASSERT_TRUE(condition());
    }

    static std::size_t starts() { return win32::script::calls("ShellExecuteExW").size(); }
    static std::string lastCall(const char* operation) {
        const auto calls = win32::script::calls(operation);
        return calls.empty() ? std::string() : calls.back();
    }
    // What the menu holds when it is shown.
    static std::string shownMenu() {
        iconEvent(WM_CONTEXTMENU);
        return lastCall("TrackPopupMenu");
    }

    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        const auto directory = session_.path() / "home/Documents/Tavrin/Zelmo Dockset/logs";
        for (const auto& entry : boost::filesystem::directory_iterator(directory)) {
            std::ifstream file(entry.path().string());
            for (std::string line; std::getline(file, line);) {
                result.push_back(std::regex_replace(line, std::regex(R"(^\d+ms )"), ""));
            }
        }
        return result;
    }

    tests::TempSession session_;
    tests::EnvironmentSetting noBus_{"DBUS_SESSION_BUS_ADDRESS", nullptr};
    tests::EnvironmentSetting noDisplay_{"DISPLAY", nullptr};
    tests::CapturedLog moduleLog_;
    std::shared_ptr<base::Log> log_ = base::createLog();
    std::shared_ptr<agent::ZelmoDocksetAgent> agent_ = agent::ZelmoDocksetAgent::create();
};

}  // namespace

TEST_F(AgentTest, StartsWithoutADesktop) {
    ASSERT_TRUE(init());
    const auto written = lines();
    ASSERT_GE(written.size(), 4U);
    EXPECT_EQ(written[0], "Loading images");
    EXPECT_EQ(written[1], "Failed to find logo resource, 1812");
    EXPECT_EQ(written[2], "Loading messages");
    EXPECT_NE(agent_->launcher(), nullptr);
}

TEST_F(AgentTest, EndsItsStartWhereItCantGoOn) {
    win32::script::failNext("CreateWindowExW", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(init());
    EXPECT_EQ(lines(), (Lines{"CreateWindowW failed.", "Failed to initialize instance."}));
}

TEST_F(AgentTest, NeedsItsMenu) {
    win32::script::failNext("AppendMenuW", ERROR_NOT_ENOUGH_MEMORY, 1);
    EXPECT_FALSE(init());
    EXPECT_EQ(lines().back(), "Failed to create shortcut menu, Failed to append menu items.");
}

TEST_F(AgentTest, UpdatePromptsKeepOneEntryAndOneMeaning) {
    ASSERT_TRUE(init());
    send(agent::AGENT_MSG_UPDATE_AVAILABLE);
    send(agent::AGENT_MSG_UPDATE_AVAILABLE);
    EXPECT_NE(lastCall("Shell_NotifyIconW").find("Zelmo Dockset update available|Click to download"),
              std::string::npos);
    send(agent::AGENT_MSG_UPDATE_DOWNLOADED);
    EXPECT_NE(lastCall("Shell_NotifyIconW").find("Zelmo Dockset update downloaded|Click to install"),
              std::string::npos);
    iconEvent(NIN_BALLOONUSERCLICK);
    EXPECT_EQ(starts(), 0U) << "an install prompt starts no main application";
    send(agent::AGENT_MSG_UPDATE_AVAILABLE);
    send(WM_COMMAND, agent::AGENT_CMD_LAUNCH);
    EXPECT_EQ(starts(), 1U);
    iconEvent(NIN_BALLOONUSERCLICK);
    EXPECT_EQ(starts(), 2U);
    iconEvent(NIN_BALLOONUSERCLICK);
    EXPECT_EQ(starts(), 2U) << "the prompt was closed";
    send(WM_COMMAND, agent::AGENT_CMD_INSTALL_UPDATE);
    EXPECT_EQ(lines().back(), "Failed to disable menu option, update");
}

TEST_F(AgentTest, TellsItsEventsApart) {
    ASSERT_TRUE(init());
    iconEvent(WM_LBUTTONDBLCLK);
    EXPECT_EQ(starts(), 1U);
    iconEvent(WM_LBUTTONDBLCLK, 102);
    iconEvent(NIN_KEYSELECT);
    EXPECT_EQ(starts(), 1U);
    moduleLog_.take();
    iconEvent(NIN_SELECT);
    EXPECT_EQ(moduleLog_.take(), Lines{"agent Failed to get icon position"});
    send(WM_ACTIVATE, WA_INACTIVE);
    iconEvent(NIN_SELECT);
    EXPECT_EQ(moduleLog_.take(), Lines()) << "not armed within the double-click time";
    send(WM_TIMER, agent::AGENT_TIMER_UPDATE_CHECK);
    send(WM_TIMER, agent::AGENT_TIMER_POPUP_REARM);
    iconEvent(NIN_SELECT);
    EXPECT_EQ(moduleLog_.take().size(), 1U);
}

TEST_F(AgentTest, OffersUpdatesWhenAskedToLookForThem) {
    ASSERT_TRUE(init());
    const tests::Key key = tests::rsaKey();
    const tests::TempDirectory files;
    files.write("key.pem", tests::pemOf(key));
    const auto server = std::make_shared<OneAnswer>();
    const auto prompt = [&](const char* text) {
        runMessagesUntil([&] { return lastCall("Shell_NotifyIconW").find(text) != std::string::npos; });
        return lastCall("Shell_NotifyIconW");
    };
    const std::string installer = "#!/bin/sh\n";
    const auto fetched = std::make_shared<OneAnswer>();
    fetched->answer = installer;
    agent_->startUpdates(std::make_unique<base::UpdateHandler>(
                             base::UpdateDependencies{server, fetched, agent_->launcher(), base::updateServers(),
                                                      dockset::AppSettings::instance(), files.file("key.pem")}),
                         {10, 1'000'000});
    server->answer = tests::signedManifest({{.version = "2.18.6.0"}}, key);
    runMessagesUntil([&] { return server->requests > 0; });
    EXPECT_EQ(prompt("").find("update"), std::string::npos) << "nothing is newer";
    server->answer = tests::signedManifest({{.signature = tests::signatureOf(installer, key)}}, key);
    EXPECT_EQ(server->requests, 1) << "the first tick comes once";
    fetched->isHeld = true;
    send(WM_TIMER, agent::AGENT_TIMER_UPDATE_CHECK);
    prompt("update available");
    for (int tick = 0; tick < 3; ++tick) {
        send(WM_TIMER, agent::AGENT_TIMER_UPDATE_CHECK);
    }
    fetched->isHeld = false;
    prompt("update downloaded");
    iconEvent(NIN_BALLOONUSERCLICK);
    runMessagesUntil([&] { return starts() == 1; });
    EXPECT_EQ(server->requests, 3) << "one check for all the ticks of a long fetch";
    EXPECT_EQ(fetched->requests, 1);
    EXPECT_NE(lastCall("ShellExecuteExW").find("zdsetup.exe|/passive ZdAutoUpdate=1"), std::string::npos);
}

TEST_F(AgentTest, AddsItsIconAnewToANewTaskbar) {
    ASSERT_TRUE(init());
    const auto before = win32::script::calls("Shell_NotifyIconW").size();
    send(RegisterWindowMessageW(W("TaskbarCreated")));
    EXPECT_GT(win32::script::calls("Shell_NotifyIconW").size(), before);
    const auto written = lines();
    EXPECT_NE(std::find(written.begin(), written.end(), "taskbar restart"), written.end());
}

TEST_F(AgentTest, CloseCommandEndsTheLoop) {
    ASSERT_TRUE(init());
    PostMessageW(window(), WM_COMMAND, agent::AGENT_CMD_CLOSE, 0);
    EXPECT_EQ(agent::runMainLoop(*agent_), 0);
    EXPECT_EQ(window(), nullptr);
}

TEST_F(AgentTest, RestartWaitsForTheApplicationToGo) {
    ASSERT_TRUE(init());
    HANDLE application = CreateMutexW(nullptr, FALSE, base::applicationMutexName);
    send(agent::AGENT_MSG_RESTART_APPLICATION);
    send(agent::AGENT_MSG_RESTART_APPLICATION);
    EXPECT_TRUE(agent::applicationRestartPending);
    agent::watchRestart(agent_->launcher().get());
    EXPECT_TRUE(agent::applicationRestartPending);
    EXPECT_EQ(starts(), 0U);
    CloseHandle(application);
    agent::watchRestart(agent_->launcher().get());
    EXPECT_FALSE(agent::applicationRestartPending);
    EXPECT_EQ(starts(), 1U);
    agent::applicationRestartPending = true;
    win32::script::failNext("CreateMutexW", ERROR_ACCESS_DENIED);
    agent::watchRestart(nullptr);
    EXPECT_FALSE(agent::applicationRestartPending);
}
