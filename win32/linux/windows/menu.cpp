#include "win32/menu.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "linux/windows/presenter.h"

namespace win32 {

namespace {

struct Item {
    UINT id;
    bool isSeparator;
    WideString text;
};
using Menu = std::vector<Item>;

struct MenuTable {
    std::mutex mutex;
    std::map<HMENU, std::unique_ptr<Menu>> menus;
    HMENU offered = nullptr;  // the one last shown, or the first one made
};

MenuTable& table() {
    static auto* const instance = new MenuTable;
    return *instance;
}

// Calls `use` with the menu, locked; `failure` with ERROR_INVALID_MENU_HANDLE if there is none.
template <typename Result, typename Use>
Result withMenu(HMENU handle, Result failure, Use use) {
    const std::lock_guard lock(table().mutex);
    const auto found = table().menus.find(handle);
    if (found == table().menus.end()) {
        SetLastError(ERROR_INVALID_MENU_HANDLE);
        return failure;
    }
    return use(*found->second);
}

// The index of an item; the menu's size if it isn't there.
std::size_t indexOf(const Menu& menu, UINT item, UINT flags) {
    if ((flags & MF_BYPOSITION) != 0) {
        return std::min<std::size_t>(item, menu.size());
    }
    const auto found = std::find_if(menu.begin(), menu.end(), [item](const auto& entry) { return entry.id == item; });
    return static_cast<std::size_t>(found - menu.begin());
}

// As above, where there has to be one.
std::size_t knownIndex(const Menu& menu, UINT item, UINT flags) {
    const std::size_t index = indexOf(menu, item, flags);
    if (index == menu.size()) {
        SetLastError(ERROR_MENU_ITEM_NOT_FOUND);
    }
    return index;
}

Item makeItem(UINT flags, UINT_PTR id, LPCWSTR text) {
    const bool isSeparator = (flags & MF_SEPARATOR) != 0;
    return {static_cast<UINT>(id), isSeparator, isSeparator || text == nullptr ? WideString() : text};
}

std::vector<ShownItem> shown(const Menu& menu) {
    std::vector<ShownItem> items;
    for (const Item& item : menu) {
        items.push_back({item.id, item.isSeparator, toBytes(item.text)});
    }
    return items;
}

// Lets the desktop know what the menu now holds, if it is the icon's.
BOOL offerChanged(HMENU handle) {
    std::vector<ShownItem> items;
    {
        const std::lock_guard lock(table().mutex);
        const auto found = table().menus.find(handle);
        if (table().offered != handle) {
            return TRUE;
        }
        items = found == table().menus.end() ? items : shown(*found->second);
    }
    presenter().offerMenu(std::move(items));
    return TRUE;
}

[[maybe_unused]] std::string description(int x, int y, const std::vector<ShownItem>& items) {
    std::string text = std::to_string(x) + "|" + std::to_string(y);
    for (const ShownItem& item : items) {
        text += "|" + (item.isSeparator ? "-" : item.text);
    }
    return text;
}

}  // namespace

}  // namespace win32

using win32::Menu;
using win32::withMenu;

HMENU WINAPI CreatePopupMenu() {
    WIN32_MAY_FAIL("CreatePopupMenu", nullptr);
    auto menu = std::make_unique<Menu>();
    auto* const handle = reinterpret_cast<HMENU>(menu.get());
    const std::lock_guard lock(win32::table().mutex);
    win32::table().menus.emplace(handle, std::move(menu));
    if (win32::table().offered == nullptr) {
        win32::table().offered = handle;
    }
    return handle;
}

BOOL WINAPI AppendMenuW(HMENU handle, UINT flags, UINT_PTR id, LPCWSTR text) {
    WIN32_MAY_FAIL("AppendMenuW", FALSE);
    return withMenu(handle, FALSE,
                    [&](Menu& menu) {
                        menu.push_back(win32::makeItem(flags, id, text));
                        return TRUE;
                    }) &&
           win32::offerChanged(handle);
}

BOOL WINAPI InsertMenuW(HMENU handle, UINT position, UINT flags, UINT_PTR id, LPCWSTR text) {
    WIN32_MAY_FAIL("InsertMenuW", FALSE);
    return withMenu(handle, FALSE,
                    [&](Menu& menu) {
                        const auto place = static_cast<std::ptrdiff_t>(win32::indexOf(menu, position, flags));
                        menu.insert(menu.begin() + place, win32::makeItem(flags, id, text));
                        return TRUE;
                    }) &&
           win32::offerChanged(handle);
}

BOOL WINAPI DeleteMenu(HMENU handle, UINT position, UINT flags) {
    WIN32_MAY_FAIL("DeleteMenu", FALSE);
    return withMenu(handle, FALSE,
                    [&](Menu& menu) {
                        const std::size_t index = win32::knownIndex(menu, position, flags);
                        if (index == menu.size()) {
                            return FALSE;
                        }
                        menu.erase(menu.begin() + static_cast<std::ptrdiff_t>(index));
                        return TRUE;
                    }) &&
           win32::offerChanged(handle);
}

BOOL WINAPI DestroyMenu(HMENU handle) {
    WIN32_MAY_FAIL("DestroyMenu", FALSE);
    if (!withMenu(handle, false, [&](const Menu&) { return win32::table().menus.erase(handle) > 0; })) {
        return FALSE;
    }
    win32::offerChanged(handle);
    const std::lock_guard lock(win32::table().mutex);
    if (win32::table().offered == handle) {
        win32::table().offered = nullptr;
    }
    return TRUE;
}

BOOL WINAPI TrackPopupMenu(HMENU handle, UINT /*flags*/, [[maybe_unused]] int x, [[maybe_unused]] int y,
                           int /*reserved*/, HWND owner, const RECT* /*ignored*/) {
    WIN32_MAY_FAIL("TrackPopupMenu", FALSE);
    std::vector<win32::ShownItem> items;
    if (!IsWindow(owner) || !withMenu(handle, false, [&](const Menu& menu) {
            items = win32::shown(menu);
            win32::table().offered = handle;
            return true;
        })) {
        return FALSE;
    }
    WIN32_RECORD("TrackPopupMenu", win32::description(x, y, items));
    const auto choose = [owner](UINT id) { PostMessageW(owner, WM_COMMAND, id & 0xFFFFU, 0); };
    if (!win32::presenter().showMenu(std::move(items), choose)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    return TRUE;
}

int WINAPI GetMenuItemCount(HMENU handle) {
    return withMenu(handle, -1, [](const Menu& menu) { return static_cast<int>(menu.size()); });
}

UINT WINAPI GetMenuItemID(HMENU handle, int index) {
    constexpr UINT none = 0xFFFFFFFF;
    return withMenu(handle, none, [&](const Menu& menu) {
        const std::size_t found = win32::knownIndex(menu, static_cast<UINT>(index), MF_BYPOSITION);
        return found == menu.size() ? none : menu[found].id;
    });
}

int WINAPI GetMenuStringW(HMENU handle, UINT item, LPWSTR buffer, int size, UINT flags) {
    return withMenu(handle, 0, [&](const Menu& menu) {
        const std::size_t index = win32::knownIndex(menu, item, flags);
        if (index == menu.size()) {
            return 0;
        }
        if (buffer == nullptr || size <= 0) {
            return static_cast<int>(menu[index].text.size());
        }
        const std::size_t length = menu[index].text.copy(buffer, static_cast<std::size_t>(size) - 1);
        buffer[length] = 0;
        return static_cast<int>(length);
    });
}
