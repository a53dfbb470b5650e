#include "win32/shell.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <string>

#include "linux/command_line.h"
#include "linux/errno_code.h"
#include "linux/scripted.h"
#include "linux/spawn.h"
#include "linux/text.h"

namespace {

constexpr const char* opener = "xdg-open";

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

// Gives 0 or an error number.
int openFile(const std::string& file, const std::string& parameters, const std::string& directory) {
    if (isAddress(file)) {
        return win32::spawnDetached(opener, {file}, directory);
    }
    const std::string path = win32::resolveProgram(file);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return errno;
    }
    const bool isProgram = path.size() > 4 && strcasecmp(path.c_str() + path.size() - 4, ".exe") == 0;
    if (S_ISREG(status.st_mode) && isProgram) {
        allowExecution(path, status.st_mode);
    }
    if (S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0) {
        return win32::spawnDetached(path, win32::splitArguments(parameters), directory);
    }
    return isProgram ? EACCES : win32::spawnDetached(opener, {path}, directory);
}

}  // namespace

BOOL WINAPI ShellExecuteExW(SHELLEXECUTEINFOW* info) {
    const std::string file = bytesOf(info->lpFile);
    WIN32_RECORD("ShellExecuteExW", bytesOf(info->lpVerb) + "|" + file + "|" + bytesOf(info->lpParameters) + "|" +
                                        bytesOf(info->lpDirectory));
    WIN32_MAY_FAIL("ShellExecuteExW", FALSE);
    if (info->cbSize != sizeof(SHELLEXECUTEINFOW) || file.empty()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::string native = isAddress(file) ? file : win32::toNativePath(info->lpFile);
    const std::string directory = info->lpDirectory == nullptr ? "" : win32::toNativePath(info->lpDirectory);
    const int error = openFile(native, bytesOf(info->lpParameters), directory);
    // Windows gives the caller the old 16-bit codes here, of which those above 32 are success.
    info->hInstApp = reinterpret_cast<HINSTANCE>(static_cast<ULONG_PTR>(error == 0 ? 42 : win32::codeOfErrno(error)));
    return error == 0 ? TRUE : static_cast<BOOL>(win32::failWithErrno(error));
}
