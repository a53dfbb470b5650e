#include <gmock/gmock.h>

#include <string>

#include "layer/child_role.h"

#ifdef _WIN32
#include <winsock2.h>
#endif

int main(int argc, char** argv) {
#ifdef _WIN32
    WSADATA sockets{};
    WSAStartup(MAKEWORD(2, 2), &sockets);
#endif
    constexpr std::string_view option = "--child=";
    if (argc == 2 && std::string_view(argv[1]).starts_with(option)) {
        return childRoles().at(std::string(argv[1]).substr(option.size()))();
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
