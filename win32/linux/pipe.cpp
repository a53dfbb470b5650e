#include "linux/pipe.h"

#include "win32/error.h"

namespace win32 {

HANDLE openPipe(std::u16string_view /*name*/, DWORD /*access*/) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
}

}  // namespace win32
