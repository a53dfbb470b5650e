#include "agent/main_loop.h"

#include "base/handle.h"
#include "base/object_names.h"
#include "win32/kernel.h"
#include "win32/mutex.h"

namespace agent {

std::int32_t runMainLoop(const ZelmoDocksetAgent& agent) {
    MSG message{};
    while (!agentExitRequested) {
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (applicationRestartPending) {
            watchRestart(agent.launcher().get());
        }
        Sleep(1);
    }
    return static_cast<std::int32_t>(message.wParam);
}

void watchRestart(base::Launcher* launcher) {
    base::Handle probe(CreateMutexW(nullptr, FALSE, base::applicationMutexName));
    if (GetLastError() == ERROR_ALREADY_EXISTS) {
        return;
    }
    // The application takes the name for a sign that it runs already, so the probe goes before it starts.
    probe.reset();
    if (launcher != nullptr) {
        launcher->startMainApplication();
    }
    applicationRestartPending = false;
}

}  // namespace agent
