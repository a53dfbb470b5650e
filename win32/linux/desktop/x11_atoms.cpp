#include "linux/desktop/x11_atoms.h"

#include <array>
#include <utility>

namespace win32 {

X11Atoms x11Atoms(xcb_connection_t* connection, int screen) {
    X11Atoms atoms;
    const std::array<std::pair<std::string, xcb_atom_t*>, 7> names = {{
        {"_NET_WORKAREA", &atoms.workArea},
        {"_NET_CURRENT_DESKTOP", &atoms.currentDesktop},
        {"_NET_WM_NAME", &atoms.windowName},
        {"UTF8_STRING", &atoms.utf8},
        {"_NET_WM_WINDOW_TYPE", &atoms.windowType},
        {"_NET_WM_WINDOW_TYPE_POPUP_MENU", &atoms.popup},
        {"_NET_WM_CM_S" + std::to_string(screen), &atoms.compositor},
    }};
    std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        cookies[i] =
            xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(names[i].first.size()), names[i].first.c_str());
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        const X11Answer<xcb_intern_atom_reply_t> answer(xcb_intern_atom_reply(connection, cookies[i], nullptr));
        *names[i].second = answer ? answer->atom : XCB_NONE;
    }
    return atoms;
}

}  // namespace win32
