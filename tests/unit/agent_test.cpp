#include "agent/agent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "agent/log.h"
#include "agent/main_loop.h"
#include "base/object_names.h"
#include "captured_log.h"
#include "manifests.h"
#include "temp_session.h"
#include "win32/kernel.h"
#include "win32/mutex.h"

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
    }

    bool init() { return agent_->init(GetModuleHandleW(nullptr)); }
    // The one window of the agent's class in this test's session.
    static HWND window() {
        HWND found = nullptr;
        const auto take = [](HWND candidate, LPARAM parameter) -> BOOL {
            *reinterpret_cast<HWND*>(parameter) = candidate;
            return FALSE;
        };
        EnumWindows(take, reinterpret_cast<LPARAM>(&found));
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
    // Whether the icon was last asked to show the text.
    static bool shows(const char* text) {
        return win32::script::calls("Shell_NotifyIconW").back().find(text) != std::string::npos;
    }

    tests::TempSession session_;
    tests::CapturedLog moduleLog_;
    std::shared_ptr<agent::Log> log_ = agent::createLog();
    std::shared_ptr<agent::ZelmoDocksetAgent> agent_ = agent::ZelmoDocksetAgent::create();
};

TEST_F(AgentTest, EndsItsStartWhereItCantGoOn) {
    win32::script::failNext("CreateWindowExW", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(init());
    EXPECT_EQ(session_.agentLog(), (Lines{"CreateWindowW failed.", "Failed to initialize instance."}));
    win32::script::failNext("AppendMenuW", ERROR_NOT_ENOUGH_MEMORY, 1);
    EXPECT_FALSE(init());
    EXPECT_EQ(session_.agentLog().back(), "Failed to create shortcut menu, Failed to append menu items.");
}

TEST_F(AgentTest, TellsItsEventsApart) {
    ASSERT_TRUE(init());
    EXPECT_EQ(session_.agentLog()[1], "Failed to find logo resource, 1812");
    send(agent::AGENT_MSG_UPDATE_AVAILABLE);
    EXPECT_TRUE(shows("Zelmo Dockset update available|Click to download"));
    send(agent::AGENT_MSG_UPDATE_DOWNLOADED);
    EXPECT_TRUE(shows("Zelmo Dockset update downloaded|Click to install"));
    send(agent::AGENT_MSG_UPDATE_AVAILABLE);
    iconEvent(NIN_BALLOONUSERCLICK);
    EXPECT_EQ(starts(), 1U);
    iconEvent(NIN_BALLOONUSERCLICK);
    EXPECT_EQ(starts(), 1U) << "the prompt was closed";
    send(WM_COMMAND, agent::AGENT_CMD_INSTALL_UPDATE);
    EXPECT_EQ(session_.agentLog().back(), "Failed to disable menu option, update");
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
    session_.write("key.pem", tests::pemOf(key));
    const auto server = std::make_shared<OneAnswer>();
    const auto fetched = std::make_shared<OneAnswer>();
    fetched->answer = "#!/bin/sh\n";
    server->answer = tests::signedManifest({{.version = "2.18.6.0"}}, key);
    agent_->startUpdates(std::make_unique<base::UpdateHandler>(
                             base::UpdateMeans{server, fetched, agent_->launcher(), base::updateServers(),
                                               dockset::AppSettings::instance(), session_.file("key.pem")}),
                         {10, 1'000'000});
    runMessagesUntil([&] { return server->requests > 0; });
    EXPECT_FALSE(shows("update")) << "nothing is newer";
    server->answer = tests::signedManifest({{.signature = tests::signatureOf(fetched->answer, key)}}, key);
    EXPECT_EQ(server->requests, 1) << "the first tick comes once";
    fetched->isHeld = true;
    send(WM_TIMER, agent::AGENT_TIMER_UPDATE_CHECK);
    runMessagesUntil([] { return shows("update available"); });
    for (int tick = 0; tick < 3; ++tick) {
        send(WM_TIMER, agent::AGENT_TIMER_UPDATE_CHECK);
    }
    fetched->isHeld = false;
    runMessagesUntil([] { return shows("update downloaded"); });
    iconEvent(NIN_BALLOONUSERCLICK);
    runMessagesUntil([] { return starts() == 1; });
    EXPECT_EQ(server->requests, 3) << "one check for all the ticks of a long fetch";
    EXPECT_EQ(fetched->requests, 1);
}

TEST_F(AgentTest, RestartWaitsForTheApplicationToGo) {
    ASSERT_TRUE(init());
    HANDLE application = CreateMutexW(nullptr, FALSE, base::applicationMutexName);
    send(agent::AGENT_MSG_RESTART_APPLICATION);
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

}  // namespace
