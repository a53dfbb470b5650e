// Descriptors that stand for processes.
#pragma once

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "win32/types.h"

// Some releases of glibc forget to say that these are C.
extern "C" {
#include <sys/pidfd.h>
}

namespace win32 {

// True if the process ends within the time; INFINITE waits for ever.
inline bool waitForPidfd(int descriptor, DWORD milliseconds) {
    pollfd end{descriptor, POLLIN, 0};
    const int limit = milliseconds == INFINITE ? -1 : static_cast<int>(std::min<DWORD>(milliseconds, INT_MAX));
    int result = 0;
    do {
        result = poll(&end, 1, limit);
    } while (result < 0 && errno == EINTR);
    return result > 0;
}

}  // namespace win32
