// Programs that the platform starts.
#include "base/log_receiver.h"
#include "base/text.h"
#include "platform/platform_win32.h"
#include "win32/kernel.h"
#include "win32/process.h"
#include "win32/shell.h"

namespace dockset {

namespace {

constexpr std::uint32_t unknownExitCode = 0xFFFFFFFFU;

void log(const std::string& text) { base::logMessage("PlatformWin32", text); }

// In double quotes if it holds a blank and doesn't have them.
WideString quoted(const WideString& path) {
    const bool hasQuotes = path.size() >= 2 && path.front() == W('"') && path.back() == W('"');
    const bool plain = path.size() < 2 || hasQuotes || path.find(W(' ')) == WideString::npos;
    return plain ? path : W("\"") + path + W("\"");
}

const WCHAR* textOrNull(const WideString& text) { return text.empty() ? nullptr : text.c_str(); }

// Null, and `code` set, on failure.
HANDLE createProcess(const WideString& path, WideString commandLine, const WideString& directory, DWORD& code) {
    // The system finds this one by the command line.
    const bool isInstallerService = path == W("msiexec.exe");
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (CreateProcessW(isInstallerService ? nullptr : path.c_str(), commandLine.empty() ? nullptr : commandLine.data(),
                       nullptr, nullptr, FALSE, 0, nullptr, textOrNull(directory), &startup, &started) == FALSE) {
        code = GetLastError();
        return nullptr;
    }
    CloseHandle(started.hThread);
    return started.hProcess;
}

// Null, and `error` set, on failure.
HANDLE startElevated(const WideString& path, const WideString& commandLine, const WideString& directory,
                     std::uint32_t& userCancelled, std::string& error) {
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof info;
    info.fMask = SEE_MASK_NOCLOSEPROCESS;
    info.lpVerb = W("runas");
    info.lpFile = path.c_str();
    info.lpParameters = textOrNull(commandLine);
    info.lpDirectory = textOrNull(directory);
    info.nShow = SW_SHOWNORMAL;
    if (ShellExecuteExW(&info) != FALSE) {
        if (info.hProcess == nullptr) {
            log("startProcess ShellExecuteExW returned success but no process handle...");
            error = "ShellExecuteExW HANDLE MISSING";
        }
        return info.hProcess;
    }
    const DWORD code = GetLastError();
    const std::string detail = std::to_string(reinterpret_cast<INT_PTR>(info.hInstApp));
    log("startProcess ShellExecuteExW returned " + std::to_string(code) + " trying to start " + base::narrow(path));
    userCancelled = code == ERROR_CANCELLED ? 1 : 0;
    log("startProcess detail error = " + detail);
    error = "ShellExecuteExW " + std::to_string(code) + ", " + detail;
    return nullptr;
}

// False if the system doesn't report the code.
bool readExitCode(HANDLE process, std::uint32_t* exitCode) {
    DWORD code = 0;
    if (exitCode == nullptr || GetExitCodeProcess(process, &code) == FALSE) {
        return exitCode == nullptr;
    }
    *exitCode = code;
    return true;
}

void forgetExitCode(std::uint32_t* exitCode) {
    if (exitCode != nullptr) {
        *exitCode = unknownExitCode;
    }
}

}  // namespace

void* PlatformWin32::startProcess(const WideString& path, const std::string& arguments,
                                  const WideString& workingDirectory, std::uint32_t* userCancelled,
                                  std::string* error) {
    std::uint32_t unreadCancel = 0;
    std::string unreadError;
    std::uint32_t& cancelled = userCancelled == nullptr ? unreadCancel : *userCancelled;
    std::string& text = error == nullptr ? unreadError : *error;
    cancelled = 0;
    text.clear();
    const WideString commandLine =
        arguments.empty() ? WideString() : quoted(path) + W(" ") + base::widenBytes(arguments);
    DWORD code = ERROR_SUCCESS;
    if (const HANDLE process = createProcess(path, commandLine, workingDirectory, code)) {
        return process;
    }
    if (code == ERROR_ELEVATION_REQUIRED) {
        log("startProcess CreateProcessW returned elevation required trying to start " + base::narrow(path) +
            ", retrying with ShellExecuteEx");
        return startElevated(path, commandLine, workingDirectory, cancelled, text);
    }
    log("startProcess CreateProcessW returned " + std::to_string(code) + " trying to start " + base::narrow(path));
    text = "CreateProcessW " + std::to_string(code);
    return nullptr;
}

bool PlatformWin32::waitForProcess(void* process, std::uint32_t timeoutMs, std::uint32_t* exitCode) {
    // A shorter wait is a poll, whose running out is expected.
    constexpr std::uint32_t shortestWait = 1'000;
    forgetExitCode(exitCode);
    if (process == nullptr) {
        return false;
    }
    const DWORD result = WaitForSingleObject(process, timeoutMs);
    if (result == WAIT_OBJECT_0) {
        if (!readExitCode(process, exitCode)) {
            log("GetExitCodeProcess failed with " + std::to_string(GetLastError()));
        }
        return true;
    }
    if (result == WAIT_FAILED) {
        log("WaitForSingleObject WAIT_FAILED error = " + std::to_string(GetLastError()));
    } else if (timeoutMs >= shortestWait) {
        log("WaitForSingleObject on process returned " + std::to_string(result));
    }
    return false;
}

bool PlatformWin32::pollProcess(void* process, std::uint32_t* exitCode) {
    forgetExitCode(exitCode);
    if (process == nullptr || WaitForSingleObject(process, 0) != WAIT_OBJECT_0) {
        return false;
    }
    readExitCode(process, exitCode);
    return true;
}

std::int32_t PlatformWin32::killProcess(void* process) { return process == nullptr ? 0 : TerminateProcess(process, 0); }

void PlatformWin32::closeProcess(void* process) {
    if (process != nullptr) {
        CloseHandle(process);
    }
}

}  // namespace dockset
