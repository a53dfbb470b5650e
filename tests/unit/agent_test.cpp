#include "agent/agent.h"

#include <random>

#include "agent/main_loop.h"
#include "base/log.h"
#include "base/object_names.h"
#include "session_test.h"
#include "win32/kernel.h"
#include "win32/mutex.h"

namespace {

using tests::Lines;

// An agent whose icon and menu are the layer's model, with no desktop behind it.
class AgentTest : public tests::SessionTest {
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
            WCHAR name[64] = {};
            GetClassNameW(candidate, name, 64);
            if (WideString(name) != base::agentWindowClass) {
                return TRUE;
            }
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
    static std::size_t starts() { return win32::script::calls("ShellExecuteExW").size(); }

    std::shared_ptr<base::Log> file_ = base::createLog();
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
    send(WM_COMMAND, agent::AGENT_CMD_INSTALL_UPDATE);
    EXPECT_EQ(session_.agentLog().back(), "Failed to disable menu option, update");
    iconEvent(WM_LBUTTONDBLCLK, 102);
    iconEvent(NIN_KEYSELECT);
    EXPECT_EQ(starts(), 0U);
    log_.take();
    iconEvent(NIN_SELECT);
    EXPECT_EQ(log_.take(), Lines{"agent Failed to get icon position"});
    send(WM_ACTIVATE, WA_INACTIVE);
    iconEvent(NIN_SELECT);
    EXPECT_EQ(log_.take(), Lines()) << "not armed within the double-click time";
    send(WM_TIMER, agent::AGENT_TIMER_UPDATE_CHECK);
    send(WM_TIMER, agent::AGENT_TIMER_POPUP_REARM);
    iconEvent(NIN_SELECT);
    EXPECT_EQ(log_.take().size(), 1U);
}

TEST_F(AgentTest, SurvivesWhateverIsPosted) {
    ASSERT_TRUE(init());
    std::mt19937_64 random(1);  // NOLINT(cert-msc51-cpp): the same run each time
    MSG message{};
    for (UINT number = 0; number <= 0xFFFF; ++number) {
        if (number == WM_CLOSE || number == WM_DESTROY || number == WM_QUIT) {
            continue;  // which end it, as they should
        }
        PostMessageW(window(), number, random(), static_cast<LPARAM>(random()));
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
            DispatchMessageW(&message);
        }
    }
    EXPECT_FALSE(agent::agentExitRequested);
    EXPECT_TRUE(IsWindow(window()));
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
