// zdpost CLASS NUMBER [PARAMETER]: posts the message NUMBER, with PARAMETER (0) as its first and 0 as its second
// parameter, to every top-level window of the class CLASS in the user's session. Exit code 0 if a window got it, 1 if
// there is none, 2 if it is called wrongly.

#include <array>
#include <cstdlib>
#include <iostream>
#include <string>

#include "win32/types.h"
#include "win32/window.h"

namespace {

struct Post {
    std::string className;
    UINT message = 0;
    WPARAM parameter = 0;
    int posted = 0;
};

BOOL CALLBACK postIfMeant(HWND window, LPARAM parameter) {
    auto& post = *reinterpret_cast<Post*>(parameter);
    std::array<char, 254> name{};
    GetClassNameA(window, name.data(), static_cast<int>(name.size()));
    if (post.className == name.data() && PostMessageW(window, post.message, post.parameter, 0) != FALSE) {
        ++post.posted;
    }
    return TRUE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::cerr << "usage: zdpost CLASS NUMBER [PARAMETER]\n";
        return 2;
    }
    Post post{argv[1], static_cast<UINT>(std::strtoul(argv[2], nullptr, 10)),
              argc == 4 ? std::strtoul(argv[3], nullptr, 10) : 0};
    EnumWindows(postIfMeant, reinterpret_cast<LPARAM>(&post));
    if (post.posted == 0) {
        std::cerr << "zdpost: no window of the class \"" << post.className << "\"\n";
    }
    return post.posted > 0 ? 0 : 1;
}
