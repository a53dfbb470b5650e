// The machine's addresses, and a free port.
#include "win32/network.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/log_receiver.h"
#include "platform/platform_ue.h"

namespace dockset {

namespace {

class Socket {
public:
    Socket() : socket_(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {}
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() {
        if (socket_ != INVALID_SOCKET) {
            closesocket(socket_);
        }
    }

    explicit operator bool() const { return socket_ != INVALID_SOCKET; }
    SOCKET get() const { return socket_; }

private:
    const SOCKET socket_;
};

std::string textOf(DWORD address) {
    std::array<char, 16> text{};
    in_addr number{};
    number.s_addr = address;
    return inet_ntop(AF_INET, &number, text.data(), text.size()) == nullptr ? "" : text.data();
}

}  // namespace

std::vector<std::string> PlatformUEWin32::getLocalAddresses(bool loopbackOnly) {
    constexpr std::size_t bufferSize = 57'344;
    constexpr DWORD passing = MIB_IPADDR_DISCONNECTED | MIB_IPADDR_DELETED | MIB_IPADDR_TRANSIENT;
    std::vector<std::string> addresses{"localhost", "127.0.0.1"};
    if (loopbackOnly) {
        return addresses;
    }
    std::vector<DWORD> buffer(bufferSize / sizeof(DWORD));
    auto* const table = reinterpret_cast<MIB_IPADDRTABLE*>(buffer.data());
    ULONG size = bufferSize;
    if (const DWORD error = GetIpAddrTable(table, &size, FALSE); error != NO_ERROR) {
        base::logMessage("PlatformWin32", "GetIpAddrTable failed with " + std::to_string(error));
        return addresses;
    }
    for (const MIB_IPADDRROW* row = table->table; row != table->table + table->dwNumEntries; ++row) {
        std::string address = (row->wType & passing) == 0 ? textOf(row->dwAddr) : std::string();
        if (!address.empty() && std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
            addresses.push_back(std::move(address));
        }
    }
    return addresses;
}

std::uint16_t PlatformUEWin32::getFreePort() {
    const Socket socket;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = INADDR_ANY;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    int size = sizeof address;
    if (!socket || bind(socket.get(), plain, size) != 0 || getsockname(socket.get(), plain, &size) != 0) {
        return 0;
    }
    return ntohs(address.sin_port);
}

}  // namespace dockset
