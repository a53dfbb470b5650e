// The packets that other processes send to the socket of this one's windows, whoever they are.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz.h"
#include "linux/support/descriptor.h"
#include "linux/support/directories.h"
#include "linux/windows/pointer_messages.h"
#include "linux/windows/window_link.h"
#include "temp_session.h"
#include "win32/window.h"

namespace {

std::vector<MSG> taken;

LRESULT CALLBACK take(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    taken.push_back({window, message, wParam, lParam, 0, {}});
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND makeWindow() {
    win32::script::pretendDesktop({{{0, 0, 100, 100}, {0, 0, 100, 100}}});
    WNDCLASSEXW details{};
    details.cbSize = sizeof details;
    details.lpfnWndProc = take;
    details.lpszClassName = W("fuzz");
    RegisterClassExW(&details);
    return CreateWindowExW(0, W("fuzz"), W(""), 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
}

win32::Descriptor connectToOwn() {
    win32::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const std::string path = win32::sessionDirectory("window") + "/process-" + std::to_string(getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    fuzz::require(connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "a socket");
    return socket;
}

void takeMessages() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        DispatchMessageW(&message);
    }
}

}  // namespace

FUZZ_TARGET(window_packet) {
    static const tests::TempSession session;
    static HWND window = nullptr;
    if (IsWindow(window) == FALSE) {  // a packet may ask it to close
        window = makeWindow();
    }
    const win32::Descriptor socket = connectToOwn();
    fuzz::Parts parts(input);
    std::size_t sent = 0;
    for (taken.clear(); !parts.empty() && IsWindow(window) != FALSE;) {
        // The usual one, but for what the input changes in it.
        win32::WindowPacket packet{static_cast<std::uint32_t>(reinterpret_cast<ULONG_PTR>(window)), 0, 0, 0};
        const std::size_t size = parts.byte() % (2 * sizeof packet);
        std::vector<std::uint8_t> bytes(std::max(size, sizeof packet));
        std::memcpy(bytes.data(), &packet, sizeof packet);
        for (std::size_t i = parts.byte() % 2 * sizeof packet.window; i < bytes.size() && !parts.empty(); ++i) {
            bytes[i] = static_cast<std::uint8_t>(bytes[i] ^ parts.byte());
        }
        const std::size_t length = size % 4 == 0 ? sizeof packet : size;
        sent += send(socket.get(), bytes.data(), length, MSG_NOSIGNAL) == sizeof packet ? 1 : 0;
        takeMessages();
    }
    fuzz::require(std::ranges::none_of(taken, [](const MSG& each) { return win32::carriesPointer(each.message); }),
                  "no address of another process comes in");
    fuzz::require(taken.size() <= sent * 8, "a message comes of a whole packet");
}
