#include "win32/error.h"

#include <sys/stat.h>

#include <cerrno>

#include "linux/support/errno_code.h"

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

}  // namespace

DWORD WINAPI GetLastError() { return lastError; }
void WINAPI SetLastError(DWORD code) { lastError = code; }

namespace win32 {

DWORD codeOfErrno(int error) {
    switch (error) {
        case 0:
            return ERROR_SUCCESS;
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case ENOTDIR:
            return ERROR_PATH_NOT_FOUND;
        case EACCES:
        case EPERM:
        case EISDIR:
            return ERROR_ACCESS_DENIED;
        case EROFS:
            return ERROR_WRITE_PROTECT;
        case EEXIST:
            return ERROR_ALREADY_EXISTS;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        case ENOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return ERROR_DISK_FULL;
        case ENAMETOOLONG:
            return ERROR_FILENAME_EXCED_RANGE;
        case ENOEXEC:
            return ERROR_BAD_EXE_FORMAT;
        case ENOTEMPTY:
            return ERROR_DIR_NOT_EMPTY;
        case ELOOP:
            return ERROR_TOO_MANY_LINKS;
        case EINVAL:
            return ERROR_INVALID_PARAMETER;
        case EBADF:
            return ERROR_INVALID_HANDLE;
        case EIO:
            return ERROR_IO_DEVICE;
        case EPIPE:
            return ERROR_NO_DATA;
        case ECONNRESET:
            return ERROR_BROKEN_PIPE;
        case ETIMEDOUT:
            return ERROR_TIMEOUT;
        case ETXTBSY:
        case EBUSY:
            return ERROR_SHARING_VIOLATION;
        default:
            return ERROR_GEN_FAILURE;
    }
}

bool failWithErrno(int error) {
    SetLastError(codeOfErrno(error));
    return false;
}

bool failWithErrno(int error, const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    struct stat status {};
    const bool hasParent = !path.empty() && stat(parent.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    SetLastError(error == ENOENT && !hasParent ? ERROR_PATH_NOT_FOUND : codeOfErrno(error));
    return false;
}

}  // namespace win32
