// How windows are known across the processes of a session.
//
// The folder "window" of the session's directory holds for each process with top-level windows a datagram socket,
// named after the process, and for each such window a symbolic link, named after its handle, whose text is its class.
// A socket that refuses connections belongs to a process that has ended; who comes across it removes it with its
// windows. A handle is 22 bits of process id and 10 bits of index, so that it names its process.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "linux/support/descriptor.h"
#include "win32/types.h"

namespace win32 {

constexpr unsigned windowIndexBits = 10;

// A posted message on its way between processes.
struct WindowPacket {
    std::uint32_t window = 0;
    std::uint32_t message = 0;
    std::uint64_t wParam = 0;
    std::int64_t lParam = 0;
};
static_assert(sizeof(WindowPacket) == 24);

HWND windowHandleOf(int process, unsigned index);
int processOf(HWND window);

// The process's own end. Not thread-safe: the model's lock guards it.
class WindowLink {
public:
    // Makes the window known, with the first one the process itself. Without a session directory nothing happens, and
    // the windows work inside of the process only.
    void publish(HWND window, const std::u16string& className);
    void withdraw(HWND window);

    // The next packet from another process, if one has come.
    std::optional<WindowPacket> receive() const;

private:
    void open();
    void close();

    std::string directory_;
    Descriptor socket_;
    bool isAnnounced_ = false;
    std::vector<HWND> published_;
};

// The windows of other processes. Any thread, without the lock.
std::vector<HWND> foreignWindows();

// The class of a window of another process; nothing if there is none.
std::optional<std::u16string> foreignClassName(HWND window);

// ERROR_INVALID_WINDOW_HANDLE or ERROR_NOT_ENOUGH_QUOTA is the last error on false.
bool postToForeign(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

}  // namespace win32
