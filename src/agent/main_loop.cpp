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
    // While the name is free the probe itself holds it, also during the start, so that nobody else takes the free name
    // for a sign.
    const base::Handle probe(CreateMutexW(nullptr, FALSE, base::applicationMutexName));
    if (GetLastError() == ERROR_ALREADY_EXISTS) {
        return;
    }
    if (launcher != nullptr) {
        launcher->startMainApplication();
    }
    applicationRestartPending = false;
}

}  // namespace agent
