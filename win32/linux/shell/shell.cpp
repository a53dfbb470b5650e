#include "win32/shell.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <string>
#include <string_view>

#include "linux/files/held_file.h"
#include "linux/processes/command_line.h"
#include "linux/processes/program.h"
#include "linux/shell/device_location.h"
#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"

namespace {

constexpr const char* opener = "xdg-open";
constexpr std::u16string_view computer = u"::{20D04FE0-3AEA-1069-A2D8-08002B30309D}\\";

using win32::Child;

std::string bytesOf(LPCWSTR text) { return text == nullptr ? std::string() : win32::toBytes(text); }

// A scheme of RFC 3986 and a colon; a single letter before the colon is a drive.
bool isAddress(const std::string& file) {
    std::size_t length = 0;
    while (length < file.size() && (std::isalnum(static_cast<unsigned char>(file[length])) != 0 ||
                                    (length > 0 && std::string("+-.").find(file[length]) != std::string::npos))) {
        ++length;
    }
    return length > 1 && length < file.size() && file[length] == ':';
}

// Windows has no execute bit: a file is a program by its name, whoever wrote it. Here whoever may read it gets it.
void allowExecution(const std::string& path, mode_t mode) {
    if (access(path.c_str(), X_OK) != 0) {
        chmod(path.c_str(), (mode & 07777U) | ((mode & 0444U) >> 2U));
    }
}

// What is to be opened, in the form that Linux takes.
std::string targetOf(const SHELLEXECUTEINFOW& info) {
    const std::u16string_view file = info.lpFile;
    if (file.starts_with(computer)) {
        return win32::deviceLocation(win32::toBytes(file.substr(computer.size())));
    }
    std::string bytes = win32::toBytes(file);
    return isAddress(bytes) ? bytes : win32::toNativePath(file);
}

bool isVerb(LPCWSTR verb, const char* name) { return strcasecmp(bytesOf(verb).c_str(), name) == 0; }

bool openWithDesktop(const std::string& target, const std::string& directory) {
    return win32::startProgram({win32::searchProgram(opener), {target}, directory}) != nullptr;
}

// False with the last error set if nothing was started.
bool execute(const SHELLEXECUTEINFOW& info, std::shared_ptr<Child>& child) {
    if (!isVerb(info.lpVerb, "") && !isVerb(info.lpVerb, "open") && !isVerb(info.lpVerb, "runas")) {
        SetLastError(ERROR_NO_ASSOCIATION);
        return false;
    }
    const std::string target = targetOf(info);
    const std::string directory = info.lpDirectory == nullptr ? "" : win32::toNativePath(info.lpDirectory);
    if (isAddress(target)) {
        return openWithDesktop(target, directory);
    }
    const std::string path = win32::absoluteProgram(target);
    const win32::Descriptor held = win32::openHeld(path);
    const std::string file = held ? "/proc/self/fd/" + std::to_string(held.get()) : path;
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return win32::failWithErrno(errno);
    }
    const bool isProgram = path.size() > 4 && strcasecmp(path.c_str() + path.size() - 4, ".exe") == 0;
    if (S_ISREG(status.st_mode) && isProgram) {
        allowExecution(file, status.st_mode);
    }
    const Child::Program program{path, win32::splitArguments(bytesOf(info.lpParameters)), directory, false, held.get()};
    if (isVerb(info.lpVerb, "runas")) {
        child = win32::startElevated(program);
        return child != nullptr;
    }
    if (isProgram || (S_ISREG(status.st_mode) && access(file.c_str(), X_OK) == 0)) {
        child = win32::startProgram(program);
        return child != nullptr;
    }
    return openWithDesktop(path, directory);
}

// Windows answers with the old 16-bit codes here, of which those above 32 are success.
HINSTANCE outcome(DWORD code) { return reinterpret_cast<HINSTANCE>(static_cast<ULONG_PTR>(code)); }

HINSTANCE failure(DWORD error) {
    constexpr DWORD highest = 32;
    const DWORD code = error == ERROR_CANCELLED ? ERROR_ACCESS_DENIED : error;
    return outcome(code <= highest ? code : ERROR_GEN_FAILURE);
}

HINSTANCE outcomeOf(SHELLEXECUTEINFOW info) {
    info.cbSize = sizeof info;
    return ShellExecuteExW(&info) != FALSE ? info.hInstApp : failure(GetLastError());
}

}  // namespace

BOOL WINAPI ShellExecuteExW(SHELLEXECUTEINFOW* info) {
    constexpr DWORD success = 42;
    WIN32_RECORD("ShellExecuteExW", bytesOf(info->lpVerb) + "|" + bytesOf(info->lpFile) + "|" +
                                        bytesOf(info->lpParameters) + "|" + bytesOf(info->lpDirectory));
    info->hProcess = nullptr;
    WIN32_MAY_FAIL("ShellExecuteExW", FALSE);
    if (info->cbSize != sizeof(SHELLEXECUTEINFOW) || info->lpFile == nullptr || *info->lpFile == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    std::shared_ptr<Child> child;
    const bool done = execute(*info, child);
    info->hInstApp = done ? outcome(success) : failure(GetLastError());
    if (child && (info->fMask & SEE_MASK_NOCLOSEPROCESS) != 0) {
        info->hProcess = win32::openChild(child);
    }
    return done ? TRUE : FALSE;
}

HINSTANCE WINAPI ShellExecuteW(HWND window, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters, LPCWSTR directory,
                               int show) {
    WIN32_MAY_FAIL("ShellExecuteW", outcome(ERROR_FILE_NOT_FOUND));
    SHELLEXECUTEINFOW info{};
    info.hwnd = window;
    info.lpVerb = verb;
    info.lpFile = file;
    info.lpParameters = parameters;
    info.lpDirectory = directory;
    info.nShow = show;
    return outcomeOf(info);
}

HINSTANCE WINAPI ShellExecuteA(HWND window, LPCSTR verb, LPCSTR file, LPCSTR parameters, LPCSTR directory, int show) {
    const auto wide = [](LPCSTR text) { return text == nullptr ? WideString() : win32::toWide(text); };
    const WideString texts[] = {wide(verb), wide(file), wide(parameters), wide(directory)};
    return ShellExecuteW(window, texts[0].c_str(), texts[1].c_str(), texts[2].c_str(),
                         directory == nullptr ? nullptr : texts[3].c_str(), show);
}
