// Answers of the X server, their owners, and the names that the windows and the desktop's properties use.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace win32 {

struct AnswerEnd {
    void operator()(void* answer) const { std::free(answer); }
};
template <typename Answer>
using X11Answer = std::unique_ptr<Answer, AnswerEnd>;

struct X11Atoms {
    xcb_atom_t workArea = XCB_NONE;
    xcb_atom_t currentDesktop = XCB_NONE;
    xcb_atom_t windowName = XCB_NONE;
    xcb_atom_t utf8 = XCB_NONE;
    xcb_atom_t windowType = XCB_NONE;
    xcb_atom_t popup = XCB_NONE;
    xcb_atom_t compositor = XCB_NONE;
};

// XCB_NONE for those that the server can't make.
X11Atoms x11Atoms(xcb_connection_t* connection, int screen);

}  // namespace win32
