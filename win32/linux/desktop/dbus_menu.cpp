#include "linux/desktop/dbus_menu.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "linux/windows/notify_icon.h"

namespace win32 {

namespace {

constexpr const char* path = "/MenuBar";
constexpr const char* interface = "com.canonical.dbusmenu";
constexpr std::size_t waitingAtMost = 16;
constexpr int rootId = 0;

// Stays an item's own while the menu changes, so that a click on an outdated picture of it hits no other item.
int idOf(const ShownItem& item) { return static_cast<int>(item.id) + 1; }

// The access key's mark is '_' there, and a doubled mark is the character itself.
std::string labelOf(const std::string& text) {
    std::string label;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '_') {
            label += "__";
        } else if (text[i] != '&') {
            label += text[i];
        } else if (i + 1 < text.size() && text[i + 1] == '&') {
            label += text[++i];
        } else {
            label += '_';
        }
    }
    return label;
}

void appendEntry(sd_bus_message* to, const char* key, const char* value) {
    sd_bus_message_append(to, "{sv}", key, "s", value);
}

// The properties as a dictionary; `item` null is the menu itself.
void appendProperties(sd_bus_message* to, const ShownItem* item) {
    sd_bus_message_open_container(to, 'a', "{sv}");
    if (item == nullptr) {
        appendEntry(to, "children-display", "submenu");
    } else if (item->isSeparator) {
        appendEntry(to, "type", "separator");
    } else {
        appendEntry(to, "label", labelOf(item->text).c_str());
    }
    sd_bus_message_close_container(to);
}

void appendItem(sd_bus_message* to, const ShownItem& item) {
    sd_bus_message_open_container(to, 'v', "(ia{sv}av)");
    sd_bus_message_open_container(to, 'r', "ia{sv}av");
    sd_bus_message_append(to, "i", idOf(item));
    appendProperties(to, &item);
    sd_bus_message_append(to, "av", 0);
    sd_bus_message_close_container(to);
    sd_bus_message_close_container(to);
}

BusMessage replyTo(sd_bus_message* request) {
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(request, &reply);
    return BusMessage(reply);
}

// What can't be sent, since a text in it isn't UTF-8, is an error, with which sd-bus answers the caller.
int send(const BusMessage& message) {
    const int result = sd_bus_send(nullptr, message.get(), nullptr);
    return result < 0 ? result : 1;
}

// Whether the numbers at the message's reading point have the menu's own.
bool readsRoot(sd_bus_message* request) {
    bool hasRoot = false;
    sd_bus_message_enter_container(request, 'a', "i");
    for (int id = 0; sd_bus_message_read(request, "i", &id) > 0;) {
        hasRoot = hasRoot || id == rootId;
    }
    sd_bus_message_exit_container(request);
    return hasRoot;
}

bool isForGroup(sd_bus_message* request) { return sd_bus_message_is_method_call(request, nullptr, "AboutToShowGroup"); }

void replyAboutToShow(sd_bus_message* request, bool hasChanged) {
    if (!isForGroup(request)) {
        sd_bus_reply_method_return(request, "b", hasChanged ? 1 : 0);
    } else if (hasChanged) {
        sd_bus_reply_method_return(request, "aiai", 1, rootId, 0);
    } else {
        sd_bus_reply_method_return(request, "aiai", 0, 0);
    }
}

}  // namespace

// The bus's calls, as sd-bus delivers them.
struct BusMenuCalls {
    static BusMenu& menu(void* data) { return *static_cast<BusMenu*>(data); }

    static int aboutToShow(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        int id = rootId;
        sd_bus_message_read(request, "i", &id);
        return id == rootId ? menu(data).requestMenu(request) : (replyAboutToShow(request, false), 1);
    }

    static int aboutToShowGroup(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        return readsRoot(request) ? menu(data).requestMenu(request) : (replyAboutToShow(request, false), 1);
    }

    static int getLayout(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        int parent = rootId;
        int depth = -1;
        sd_bus_message_read(request, "ii", &parent, &depth);
        const ShownItem* const item = menu(data).find(parent);
        if (parent != rootId && item == nullptr) {
            return sd_bus_reply_method_errnof(request, EINVAL, "no such item");
        }
        const BusMessage reply = replyTo(request);
        sd_bus_message_append(reply.get(), "u", menu(data).revision_);
        sd_bus_message_open_container(reply.get(), 'r', "ia{sv}av");
        sd_bus_message_append(reply.get(), "i", parent);
        appendProperties(reply.get(), item);
        sd_bus_message_open_container(reply.get(), 'a', "v");
        if (parent == rootId && depth != 0) {
            for (const ShownItem& each : menu(data).items_) {
                appendItem(reply.get(), each);
            }
            // Panels don't ask for an empty menu: there is a line in it then.
            if (menu(data).items_.empty()) {
                appendItem(reply.get(), {0, true, {}});
            }
        }
        sd_bus_message_close_container(reply.get());
        sd_bus_message_close_container(reply.get());
        return send(reply);
    }

    static int getGroupProperties(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        std::vector<int> ids;
        sd_bus_message_enter_container(request, 'a', "i");
        for (int id = 0; sd_bus_message_read(request, "i", &id) > 0;) {
            ids.push_back(id);
        }
        const BusMessage reply = replyTo(request);
        sd_bus_message_open_container(reply.get(), 'a', "(ia{sv})");
        for (const ShownItem& item : menu(data).items_) {
            if (ids.empty() || std::find(ids.begin(), ids.end(), idOf(item)) != ids.end()) {
                sd_bus_message_open_container(reply.get(), 'r', "ia{sv}");
                sd_bus_message_append(reply.get(), "i", idOf(item));
                appendProperties(reply.get(), &item);
                sd_bus_message_close_container(reply.get());
            }
        }
        sd_bus_message_close_container(reply.get());
        return send(reply);
    }

    static int getProperty(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        int id = rootId;
        const char* name = "";
        sd_bus_message_read(request, "is", &id, &name);
        const ShownItem* const item = menu(data).find(id);
        const std::string property = name;
        if (property == "label" && item != nullptr && !item->isSeparator) {
            return sd_bus_reply_method_return(request, "v", "s", labelOf(item->text).c_str());
        }
        if (property == "type" && item != nullptr) {
            return sd_bus_reply_method_return(request, "v", "s", item->isSeparator ? "separator" : "standard");
        }
        if (property == "children-display" && id == rootId) {
            return sd_bus_reply_method_return(request, "v", "s", "submenu");
        }
        return sd_bus_reply_method_errnof(request, EINVAL, "no such property");
    }

    static int event(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        int id = rootId;
        const char* name = "";
        sd_bus_message_read(request, "is", &id, &name);
        menu(data).itemEvent(id, name);
        return sd_bus_reply_method_return(request, "");
    }

    static int eventGroup(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        const BusMessage reply = replyTo(request);
        sd_bus_message_enter_container(request, 'a', "(isvu)");
        sd_bus_message_open_container(reply.get(), 'a', "i");
        while (sd_bus_message_enter_container(request, 'r', "isvu") > 0) {
            int id = rootId;
            const char* name = "";
            sd_bus_message_read(request, "is", &id, &name);
            sd_bus_message_skip(request, "vu");
            sd_bus_message_exit_container(request);
            if (!menu(data).itemEvent(id, name)) {
                sd_bus_message_append(reply.get(), "i", id);
            }
        }
        sd_bus_message_close_container(reply.get());
        return send(reply);
    }

    static int property(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* name,
                        sd_bus_message* reply, void* /*data*/, sd_bus_error* /*error*/) {
        const std::string property = name;
        if (property == "Version") {
            return sd_bus_message_append(reply, "u", 3);
        }
        if (property == "IconThemePath") {
            return sd_bus_message_append(reply, "as", 0);
        }
        return sd_bus_message_append(reply, "s", property == "Status" ? "normal" : "ltr");
    }
};

namespace {

const sd_bus_vtable calls[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Version", "u", BusMenuCalls::property, 0, 0),
    SD_BUS_PROPERTY("TextDirection", "s", BusMenuCalls::property, 0, 0),
    SD_BUS_PROPERTY("Status", "s", BusMenuCalls::property, 0, 0),
    SD_BUS_PROPERTY("IconThemePath", "as", BusMenuCalls::property, 0, 0),
    SD_BUS_METHOD("GetLayout", "iias", "u(ia{sv}av)", BusMenuCalls::getLayout, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetGroupProperties", "aias", "a(ia{sv})", BusMenuCalls::getGroupProperties,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetProperty", "is", "v", BusMenuCalls::getProperty, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Event", "isvu", "", BusMenuCalls::event, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("EventGroup", "a(isvu)", "ai", BusMenuCalls::eventGroup, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("AboutToShow", "i", "b", BusMenuCalls::aboutToShow, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("AboutToShowGroup", "ai", "aiai", BusMenuCalls::aboutToShowGroup, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("ItemsPropertiesUpdated", "a(ia{sv})a(ias)", 0),
    SD_BUS_SIGNAL("LayoutUpdated", "ui", 0),
    SD_BUS_SIGNAL("ItemActivationRequested", "iu", 0),
    SD_BUS_VTABLE_END,
};

}  // namespace

BusMenu::BusMenu(sd_bus* bus)
    : bus_(bus), object_(makeSlot([&](sd_bus_slot** slot) {
          return sd_bus_add_object_vtable(bus, slot, path, interface, calls, this);
      })) {}

void BusMenu::show(std::vector<ShownItem> items, std::function<void(UINT)> choose) {
    choose_ = std::move(choose);
    offer(std::move(items));
    replyToWaiting();
}

void BusMenu::offer(std::vector<ShownItem> items) {
    // A panel that is told to fetch what it shows already may empty the open menu on the way, which closes it.
    if (items != items_) {
        items_ = std::move(items);
        ++revision_;
        sd_bus_emit_signal(bus_, path, interface, "LayoutUpdated", "ui", revision_, rootId);
    }
}

void BusMenu::pump() {
    if (!waiting_.empty() && !isIconEventWaiting(WM_CONTEXTMENU)) {
        replyToWaiting();
    }
}

int BusMenu::requestMenu(sd_bus_message* request) {
    const bool isRequested = !waiting_.empty() && isIconEventWaiting(WM_CONTEXTMENU);
    if (waiting_.size() >= waitingAtMost || (!isRequested && !postIconEvent(WM_CONTEXTMENU, {}))) {
        replyAboutToShow(request, false);
        return 1;
    }
    waiting_.push_back({BusMessage(sd_bus_message_ref(request)), revision_});
    return 1;
}

void BusMenu::replyToWaiting() {
    for (const Waiting& each : std::exchange(waiting_, {})) {
        replyAboutToShow(each.request.get(), each.revision != revision_);
    }
}

const ShownItem* BusMenu::find(int id) const {
    const auto found = std::find_if(items_.begin(), items_.end(), [&](const auto& item) { return idOf(item) == id; });
    return found == items_.end() ? nullptr : &*found;
}

int BusMenu::itemEvent(int id, const std::string& event) {
    const ShownItem* const item = find(id);
    if (item != nullptr && !item->isSeparator && event == "clicked") {
        choose_ ? choose_(item->id) : postIconCommand(item->id);
    }
    return item != nullptr || id == rootId;
}

}  // namespace win32
