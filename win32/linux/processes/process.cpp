#include "win32/process.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "linux/kernel/handle.h"
#include "linux/processes/command_line.h"
#include "linux/processes/pidfd.h"
#include "linux/processes/program.h"
#include "linux/support/descriptor.h"
#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/kernel.h"

namespace win32 {

namespace {

constexpr DWORD allAccess = PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION;

std::string imageOf(pid_t id) {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = readlink(("/proc/" + std::to_string(id) + "/exe").c_str(), path.data(), path.size());
    std::string image(path.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    // A file that was replaced while it runs is still what the process was started from.
    constexpr std::string_view mark = " (deleted)";
    if (image.ends_with(mark) && access(image.c_str(), F_OK) != 0) {
        image.resize(image.size() - mark.size());
    }
    return image;
}

// A child of this process, or by way of a descriptor a process of others.
class Process : public Object {
public:
    Process(pid_t processId, DWORD itsAccess, std::shared_ptr<Child> child, Descriptor other)
        : id(processId), access(itsAccess), child_(std::move(child)), other_(std::move(other)) {}

    DWORD wait(DWORD milliseconds) override {
        const bool ended = child_ ? child_->waitFor(milliseconds) : waitForOther(milliseconds);
        return ended ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

    BOOL exitCode(DWORD& code) {
        if (!child_ && waitForOther(0)) {
            SetLastError(ERROR_NOT_SUPPORTED);
            return FALSE;
        }
        code = child_ ? child_->exitCode().value_or(STILL_ACTIVE) : STILL_ACTIVE;
        return TRUE;
    }

    BOOL terminate(DWORD code) {
        if (id == getpid()) {
            _exit(static_cast<int>(code));
        }
        const bool done = child_ ? child_->terminate(code) : pidfd_send_signal(other_.get(), SIGKILL, nullptr, 0) == 0;
        if (!done) {
            SetLastError(ERROR_ACCESS_DENIED);
        }
        return done;
    }

    const pid_t id;
    const DWORD access;

private:
    bool waitForOther(DWORD milliseconds) const { return waitForPidfd(other_.get(), milliseconds); }

    const std::shared_ptr<Child> child_;
    const Descriptor other_;
};

// Null with the last error set if the handle is none of a process or wasn't opened for that.
std::shared_ptr<Process> processWith(HANDLE handle, DWORD access) {
    auto process = objectAs<Process>(handle);
    if (process && (process->access & access) == 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return process;
}

std::string bytesOf(LPCWSTR text) { return text == nullptr ? std::string() : toBytes(text); }

// What a call of CreateProcessW names.
Child::Program programOf(LPCWSTR path, LPCWSTR commandLine, LPCWSTR directory) {
    std::string first;
    Child::Program program;
    const std::string line = bytesOf(commandLine);
    const std::string named = bytesOf(path);
    // A program that is named beside the line may have quotation marks in its path, as none of Windows has.
    const bool isHead = !named.empty() && line.starts_with(named + " ");
    program.arguments = isHead ? splitArguments(line.substr(named.size())) : splitCommandLine(line, first);
    program.path = path != nullptr ? absoluteProgram(toNativePath(path)) : searchProgram(toNativePath(toWide(first)));
    program.directory = directory == nullptr ? std::string() : toNativePath(directory);
    return program;
}

bool mayOpen(pid_t id, DWORD access) {
    return ((access & PROCESS_QUERY_LIMITED_INFORMATION) == 0 || !imageOf(id).empty()) &&
           ((access & PROCESS_TERMINATE) == 0 || kill(id, 0) == 0);
}

}  // namespace

std::shared_ptr<Object> currentProcess() {
    return std::make_shared<Process>(getpid(), allAccess, nullptr, Descriptor());
}

HANDLE openChild(const std::shared_ptr<Child>& child) {
    WIN32_MAY_FAIL("process handle", nullptr);
    return openHandle(std::make_shared<Process>(child->id(), allAccess, child, Descriptor()));
}

}  // namespace win32

BOOL WINAPI CreateProcessW(LPCWSTR path, LPWSTR commandLine, LPSECURITY_ATTRIBUTES /*process*/,
                           LPSECURITY_ATTRIBUTES /*thread*/, BOOL /*inheritHandles*/, DWORD /*flags*/,
                           LPVOID /*environment*/, LPCWSTR directory, STARTUPINFOW* /*startup*/,
                           PROCESS_INFORMATION* information) {
    WIN32_RECORD("CreateProcessW",
                 win32::bytesOf(path) + "|" + win32::bytesOf(commandLine) + "|" + win32::bytesOf(directory));
    WIN32_MAY_FAIL("CreateProcessW", FALSE);
    if (path == nullptr && commandLine == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const auto child = win32::startProgram(win32::programOf(path, commandLine, directory));
    if (!child) {
        return FALSE;
    }
    const auto id = static_cast<DWORD>(child->id());
    *information = {win32::openChild(child), win32::openChild(child), id, id};
    return TRUE;
}

BOOL WINAPI GetExitCodeProcess(HANDLE handle, LPDWORD code) {
    WIN32_MAY_FAIL("GetExitCodeProcess", FALSE);
    const auto process = win32::processWith(handle, PROCESS_QUERY_LIMITED_INFORMATION);
    return process ? process->exitCode(*code) : FALSE;
}

BOOL WINAPI TerminateProcess(HANDLE handle, UINT code) {
    const auto process = win32::processWith(handle, PROCESS_TERMINATE);
    WIN32_RECORD("TerminateProcess", (process ? std::to_string(process->id) : "") + "|" + std::to_string(code));
    WIN32_MAY_FAIL("TerminateProcess", FALSE);
    return process ? process->terminate(code) : FALSE;
}

HANDLE WINAPI OpenProcess(DWORD access, BOOL /*inheritHandle*/, DWORD number) {
    WIN32_MAY_FAIL("OpenProcess", nullptr);
    const auto id = static_cast<pid_t>(number);
    win32::Descriptor other(id > 0 ? pidfd_open(id, 0) : -1);
    if (!other) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (!win32::mayOpen(id, access)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return win32::openHandle(std::make_shared<win32::Process>(id, access, win32::Child::find(id), std::move(other)));
}

BOOL WINAPI K32EnumProcesses(DWORD* numbers, DWORD size, DWORD* used) {
    WIN32_MAY_FAIL("K32EnumProcesses", FALSE);
    const auto close = [](DIR* directory) { closedir(directory); };
    const std::unique_ptr<DIR, decltype(close)> directory(opendir("/proc"), close);
    if (!directory) {
        return win32::failWithErrno(errno);
    }
    DWORD count = 0;
    while (const dirent* const entry = readdir(directory.get())) {
        const auto number = static_cast<DWORD>(std::strtoul(entry->d_name, nullptr, 10));
        if (number != 0 && count < size / sizeof(DWORD)) {
            numbers[count++] = number;
        }
    }
    *used = count * static_cast<DWORD>(sizeof(DWORD));
    return TRUE;
}

BOOL WINAPI QueryFullProcessImageNameW(HANDLE handle, DWORD /*flags*/, LPWSTR path, PDWORD size) {
    WIN32_MAY_FAIL("QueryFullProcessImageNameW", FALSE);
    const auto process = win32::processWith(handle, PROCESS_QUERY_LIMITED_INFORMATION);
    if (!process) {
        return FALSE;
    }
    const WideString image = win32::toWideName(win32::imageOf(process->id));
    if (image.empty() || image.size() >= *size) {
        SetLastError(image.empty() ? ERROR_GEN_FAILURE : ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    path[image.copy(path, image.size())] = 0;
    *size = static_cast<DWORD>(image.size());
    return TRUE;
}
