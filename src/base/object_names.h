// The names under which processes of the suite find each other, in the session's namespace unless told otherwise.
#pragma once

#include "win32/types.h"

namespace base {

// Mutex: one agent a session. Held open, never owned, by the running agent.
inline constexpr const WCHAR* agentMutexName = W("ZelmoDocksetAgent{336E4D53-2497-463C-8B4E-FBB81AC84C83}");

// Mutex: held open by the main application while it runs. The agent only probes whether the name exists.
inline constexpr const WCHAR* applicationMutexName = W("ZelmoDockset{2B79600C-C83E-46FA-A9CA-F0E43610C0F3}");

// Mutex: owned for the length of one access to app_settings.json, by the agent and by the main application.
inline constexpr const WCHAR* settingsMutexName = W("ZelmoDocksetSettings{2E794E3A-91C4-455C-B09F-CD21ED7FCBC5}");

// Mutex: owned for the length of one access to the file cache, by every process of the suite. In the machine's
// namespace, whose prefix its user puts in front.
inline constexpr const char* cacheMutexName = "804311ce35-8f4bf195d3-cd35a64";

// Window class: the main application posts to every window of it.
inline constexpr const WCHAR* agentWindowClass = W("ZelmoDocksetAgent");

// The message that it posts, WM_USER + 4: start it again when it has gone.
inline constexpr UINT agentRestartMessage = 1028;

// Pipes: served by the main application and by the suite's background service.
inline constexpr const WCHAR* applicationPipeName =
    W("\\\\.\\pipe\\ZelmoDockset{8845C5F8-9A73-4591-A5C2-4E72B28175EA}");
inline constexpr const WCHAR* servicePipeName =
    W("\\\\.\\pipe\\ZelmoDocksetService{16B1AE03-CCC3-48F6-A5CB-781B398B6776}");

}  // namespace base
