#include "linux/windows/window_link.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>

#include "linux/support/directories.h"
#include "linux/support/name_file.h"
#include "linux/support/text.h"
#include "win32/error.h"

namespace win32 {

namespace {

constexpr std::chrono::milliseconds patience(1000);
constexpr const char* linkPrefix = "window-";
constexpr const char* socketPrefix = "process-";

ULONG_PTR numberOf(HWND window) { return reinterpret_cast<ULONG_PTR>(window); }

std::string linkOf(const std::string& directory, HWND window) {
    return directory + "/" + linkPrefix + std::to_string(numberOf(window));
}

std::string socketOf(const std::string& directory, int process) {
    return directory + "/" + socketPrefix + std::to_string(process);
}

std::vector<std::string> filesIn(const std::string& directory) {
    std::vector<std::string> files;
    const auto close = [](DIR* open) { closedir(open); };
    const std::unique_ptr<DIR, decltype(close)> open(opendir(directory.c_str()), close);
    while (const dirent* const entry = open ? readdir(open.get()) : nullptr) {
        files.emplace_back(entry->d_name);
    }
    return files;
}

// The handle that a link's file name stands for, or null.
HWND windowOf(std::string_view file) {
    if (!file.starts_with(linkPrefix)) {
        return nullptr;
    }
    file.remove_prefix(std::strlen(linkPrefix));
    ULONG_PTR number = 0;
    const auto [end, error] = std::from_chars(file.data(), file.data() + file.size(), number);
    const bool isWhole = error == std::errc() && end == file.data() + file.size();
    return isWhole && number <= 0xFFFFFFFFU ? reinterpret_cast<HWND>(number) : nullptr;
}

// Binds or connects by way of the open directory, since a socket's path is limited to 107 bytes.
Descriptor socketAt(const std::string& directory, int process, decltype(connect)* join) {
    const Descriptor folder(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = socketOf("/proc/self/fd/" + std::to_string(folder.get()), process);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (!folder || !socket || join(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        return {};
    }
    return socket;
}

Descriptor lockDirectory(const std::string& directory) { return openLocked(directory + "/.lock", 0, true, 0600); }

// Removes what a process left, if it has ended. The directory is locked.
void tidy(const std::string& directory, int process) {
    if (socketAt(directory, process, connect) || (errno != ECONNREFUSED && errno != ENOENT)) {
        return;
    }
    for (const std::string& file : filesIn(directory)) {
        if (const HWND window = windowOf(file); window != nullptr && processOf(window) == process) {
            unlink(linkOf(directory, window).c_str());
        }
    }
    unlink(socketOf(directory, process).c_str());
}

// A connection to a live process; tidies up after one that has ended.
Descriptor connectTo(const std::string& directory, int process) {
    Descriptor socket = socketAt(directory, process, connect);
    if (!socket && (errno == ECONNREFUSED || errno == ENOENT)) {
        if (const Descriptor lock = lockDirectory(directory)) {
            tidy(directory, process);
        }
    }
    return socket;
}

// The text of a window's link, whether its process lives or not.
std::optional<std::u16string> readLink(const std::string& directory, HWND window) {
    std::array<char, 4096> text{};
    const ssize_t length = readlink(linkOf(directory, window).c_str(), text.data(), text.size());
    return length <= 0 ? std::nullopt : std::optional(toWide({text.data() + 1, static_cast<std::size_t>(length) - 1}));
}

// Packets are announced by a signal, so that checking for them costs no system call while none comes.
std::atomic<bool> mayHavePackets = false;

bool announcePackets(int socket) {
    struct sigaction action {};
    action.sa_handler = [](int /*number*/) { mayHavePackets = true; };
    action.sa_flags = SA_RESTART;
    // This signal ends no program that has no handler for it.
    const int number = SIGURG;
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, number);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);  // whoever started this program may have blocked it
    return sigaction(number, &action, nullptr) == 0 && fcntl(socket, F_SETSIG, number) == 0 &&
           fcntl(socket, F_SETOWN, getpid()) == 0 && fcntl(socket, F_SETFL, O_NONBLOCK | O_ASYNC) == 0;
}

}  // namespace

HWND windowHandleOf(int process, unsigned index) {
    return reinterpret_cast<HWND>((static_cast<ULONG_PTR>(process) << windowIndexBits) | index);
}

int processOf(HWND window) { return static_cast<int>(numberOf(window) >> windowIndexBits); }

void WindowLink::open() {
    directory_ = sessionDirectory("window");
    const Descriptor lock = directory_.empty() ? Descriptor() : lockDirectory(directory_);
    if (lock) {
        tidy(directory_, getpid());
        socket_ = socketAt(directory_, getpid(), bind);
        isAnnounced_ = socket_ && announcePackets(socket_.get());
        mayHavePackets = true;
    }
}

void WindowLink::close() {
    if (socket_) {
        unlink(socketOf(directory_, getpid()).c_str());
        socket_ = Descriptor();
    }
}

void WindowLink::publish(HWND window, const std::u16string& className) {
    if (!socket_) {
        open();
    }
    // The leading mark keeps the text from being empty.
    if (socket_ && symlink(("=" + toBytes(className)).c_str(), linkOf(directory_, window).c_str()) == 0) {
        published_.push_back(window);
    }
}

void WindowLink::withdraw(HWND window) {
    if (std::erase(published_, window) > 0) {
        unlink(linkOf(directory_, window).c_str());
        if (published_.empty()) {
            close();
        }
    }
}

std::optional<WindowPacket> WindowLink::receive() const {
    if (isAnnounced_ && !mayHavePackets.load(std::memory_order_relaxed)) {
        return std::nullopt;
    }
    mayHavePackets = false;  // before the check, or a packet in between would go unnoticed
    WindowPacket packet;
    while (socket_) {
        const ssize_t size = recv(socket_.get(), &packet, sizeof(packet), MSG_DONTWAIT | MSG_TRUNC);
        if (size == static_cast<ssize_t>(sizeof(packet))) {
            mayHavePackets = true;
            return packet;
        }
        if (size < 0 && errno != EINTR) {
            break;
        }
    }
    return std::nullopt;
}

std::vector<HWND> foreignWindows() {
    std::vector<HWND> windows;
    const std::string directory = sessionDirectory("window");
    std::map<int, bool> alive;
    for (const std::string& file : directory.empty() ? std::vector<std::string>() : filesIn(directory)) {
        const HWND window = windowOf(file);
        if (window == nullptr || processOf(window) == getpid()) {
            continue;
        }
        const auto [process, isNew] = alive.try_emplace(processOf(window), false);
        if (isNew) {
            process->second = static_cast<bool>(connectTo(directory, process->first));
        }
        if (process->second) {
            windows.push_back(window);
        }
    }
    return windows;
}

std::optional<std::u16string> foreignClassName(HWND window) {
    const std::string directory = sessionDirectory("window");
    if (directory.empty() || !connectTo(directory, processOf(window))) {
        return std::nullopt;
    }
    return readLink(directory, window);
}

bool postToForeign(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const std::string directory = sessionDirectory("window");
    const Descriptor socket = directory.empty() ? Descriptor() : connectTo(directory, processOf(window));
    if (!socket || !readLink(directory, window)) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return false;
    }
    const WindowPacket packet{static_cast<std::uint32_t>(numberOf(window)), message, wParam, lParam};
    const auto end = std::chrono::steady_clock::now() + patience;
    while (send(socket.get(), &packet, sizeof(packet), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        pollfd entry{socket.get(), POLLOUT, 0};
        const bool isFull = errno == EAGAIN || errno == ENOBUFS;
        if (errno != EINTR && (!isFull || left <= 0)) {
            SetLastError(isFull ? ERROR_NOT_ENOUGH_QUOTA : ERROR_INVALID_WINDOW_HANDLE);
            return false;
        }
        poll(&entry, 1, static_cast<int>(std::max<long>(left, 0)));
    }
    return true;
}

}  // namespace win32
