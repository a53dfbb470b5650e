#include <gmock/gmock.h>

#include <string>

#ifndef _WIN32
#include "layer/linux/child_process.h"
#endif

int main(int argc, char** argv) {
#ifndef _WIN32
    constexpr std::string_view option = "--child=";
    if (argc == 2 && std::string_view(argv[1]).starts_with(option)) {
        return childRoles().at(std::string(argv[1]).substr(option.size()))();
    }
#endif
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
