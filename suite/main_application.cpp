// Stands in for the suite's main application in the demo and in tests: it keeps its side of what the agent relies on,
// and writes what happens to it, a line each, to ZelmoDockset.log in the Logs directory.
//
// It holds its mutex while it runs, answers one message a connection on its pipe, ends on "QUIT", and asks the agent
// for a restart when its window gets restartMessage. With the environment variable ZELMO_DOCKSET_STAND_IN set to
// "silent" it reads what comes through the pipe and never answers.

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "base/directories.h"
#include "base/handle.h"
#include "base/object_names.h"
#include "base/paths.h"
#include "win32/file.h"
#include "win32/kernel.h"
#include "win32/mutex.h"
#include "win32/pipe.h"
#include "win32/window.h"

namespace {

constexpr const WCHAR* windowClassName = W("ZelmoDockset");
constexpr UINT restartMessage = WM_USER + 1;

bool ended = false;

void note(const std::string& text) {
    const auto path = base::applicationDirectory(base::Logs) / "ZelmoDockset.log";
    std::ofstream file(std::filesystem::path(path.native()), std::ios::app);
    file << GetCurrentProcessId() << ' ' << text << std::endl;
}

BOOL CALLBACK postToAgent(HWND window, LPARAM /*parameter*/) {
    std::array<char, 254> name{};
    GetClassNameA(window, name.data(), static_cast<int>(name.size()));
    if (base::WideView(base::agentWindowClass) == base::widen(name.data())) {
        PostMessageW(window, base::agentRestartMessage, 0, 0);
    }
    return TRUE;
}

LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case restartMessage:
            note("asks for a restart");
            EnumWindows(postToAgent, 0);
            PostMessageW(window, WM_CLOSE, 0, 0);
            return 0;
        case WM_DESTROY:
            ended = true;
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
    }
}

HWND createWindow() {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = windowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = windowClassName;
    RegisterClassExW(&windowClass);
    return CreateWindowExW(0, windowClassName, W("Zelmo Dockset"), WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                           GetModuleHandleW(nullptr), nullptr);
}

// Serves one client: a message, an answer, and the end of the connection. True once "QUIT" was answered.
bool serveClient(HANDLE pipe, bool silent) {
    std::array<WCHAR, 4096> buffer{};
    DWORD size = 0;
    if (ReadFile(pipe, buffer.data(), sizeof buffer, &size, nullptr) == FALSE) {
        return false;
    }
    const WideString request(buffer.data());
    note("received \"" + base::narrow(request) + "\"");
    if (silent) {
        Sleep(INFINITE);
    }
    const WideString reply = W("SUCCESS");
    WriteFile(pipe, reply.c_str(), static_cast<DWORD>((reply.size() + 1) * sizeof(WCHAR)), &size, nullptr);
    FlushFileBuffers(pipe);
    return request == W("QUIT");
}

void servePipe(HWND window) {
    const char* const behaviour = std::getenv("ZELMO_DOCKSET_STAND_IN");
    const bool silent = behaviour != nullptr && std::string(behaviour) == "silent";
    const base::FileHandle pipe(CreateNamedPipeW(base::applicationPipeName, PIPE_ACCESS_DUPLEX,
                                                 PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1, 8192, 8192,
                                                 0, nullptr));
    if (!pipe) {
        note("can't serve its pipe, " + std::to_string(GetLastError()));
        return;
    }
    for (bool quit = false; !quit;) {
        if (ConnectNamedPipe(pipe.get(), nullptr) != FALSE || GetLastError() == ERROR_PIPE_CONNECTED) {
            quit = serveClient(pipe.get(), silent);
        }
        DisconnectNamedPipe(pipe.get());
    }
    PostMessageW(window, WM_CLOSE, 0, 0);
}

}  // namespace

int main() {
    const base::Handle mutex(CreateMutexW(nullptr, FALSE, base::applicationMutexName));
    if (GetLastError() == ERROR_ALREADY_EXISTS) {
        note("runs already");
        return 0;
    }
    note("started");
    const HWND window = createWindow();
    // The thread waits in the pipe for ever; the end of the process ends it.
    std::thread(servePipe, window).detach();
    MSG message{};
    while (!ended) {
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
            DispatchMessageW(&message);
        }
        Sleep(1);
    }
    note("ended");
    return 0;
}
