// The loop that runs the agent.
#pragma once

#include <cstdint>

#include "agent/agent.h"

namespace agent {

// Drains the message queue, watches for the main application's restart if one is pending, and sleeps a millisecond,
// again and again until agentExitRequested. Gives the low 32 bits of the wParam of the last message taken. Main thread.
std::int32_t runMainLoop(const ZelmoDocksetAgent& agent);

// One pass of the restart watch: once the main application's mutex name is free it is started, and the watch ends.
// A null launcher starts nothing. Main thread.
void watchRestart(base::Launcher* launcher);

}  // namespace agent
