#include "win32/network.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace {

TEST(NetworkTest, TellsAddressesAndFindsAFreePort) {
    std::vector<DWORD> buffer(1024);
    ULONG size = 4;
    auto* const table = reinterpret_cast<MIB_IPADDRTABLE*>(buffer.data());
    EXPECT_EQ(GetIpAddrTable(table, &size, FALSE), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(GetIpAddrTable(table, &size, FALSE), DWORD{NO_ERROR});
    std::array<char, 16> text{};
    for (DWORD i = 0; i < table->dwNumEntries; ++i) {
        EXPECT_NE(inet_ntop(AF_INET, &table->table[i].dwAddr, text.data(), text.size()), nullptr);
    }
    const SOCKET one = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    const SOCKET other = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    int length = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(one, plain, length), 0);
    EXPECT_EQ(getsockname(one, plain, &length), 0);
    EXPECT_NE(ntohs(address.sin_port), 0);
    EXPECT_EQ(bind(other, plain, length), SOCKET_ERROR);
    EXPECT_EQ(GetLastError(), DWORD{WSAEADDRINUSE});
    EXPECT_EQ(closesocket(one), 0);
    EXPECT_EQ(bind(other, plain, length), 0);
    closesocket(other);
    EXPECT_EQ(closesocket(other), SOCKET_ERROR);
    EXPECT_EQ(GetLastError(), DWORD{WSAENOTSOCK});
}

}  // namespace
