#include "linux/desktop/dbus_item.h"

#include <errno.h>
#include <unistd.h>

#include <string_view>

#include "linux/windows/notify_icon.h"

namespace win32 {

namespace {

constexpr const char* path = "/StatusNotifierItem";
constexpr const char* interface = "org.kde.StatusNotifierItem";

void appendPictures(sd_bus_message* to, const Icon* icon) {
    sd_bus_message_open_container(to, 'a', "(iiay)");
    if (icon != nullptr) {
        for (const IconImage& image : icon->images) {
            sd_bus_message_open_container(to, 'r', "iiay");
            sd_bus_message_append(to, "ii", image.width, image.height);
            sd_bus_message_append_array(to, 'y', image.pixels.data(), image.pixels.size());
            sd_bus_message_close_container(to);
        }
    }
    sd_bus_message_close_container(to);
}

void appendToolTip(sd_bus_message* to, const ShownIcon& icon) {
    sd_bus_message_open_container(to, 'r', "sa(iiay)ss");
    sd_bus_message_append(to, "s", "");
    appendPictures(to, nullptr);
    sd_bus_message_append(to, "ss", icon.showsTip ? icon.tip.c_str() : "", "");
    sd_bus_message_close_container(to);
}

}  // namespace

// The bus's calls, as sd-bus delivers them.
struct BusItemCalls {
    // sd-bus would end the connection for a name that it can't have or give back.
    static int named(sd_bus_message* /*reply*/, void* /*data*/, sd_bus_error* /*error*/) { return 1; }

    static BusItem& item(void* data) { return *static_cast<BusItem*>(data); }

    static POINT positionOf(sd_bus_message* request) {
        POINT point{};
        sd_bus_message_read(request, "ii", &point.x, &point.y);
        return point;
    }

    static int activate(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        item(data).click(positionOf(request));
        return sd_bus_reply_method_return(request, "");
    }

    static int contextMenu(sd_bus_message* request, void* data, sd_bus_error* /*error*/) {
        const POINT point = positionOf(request);
        item(data).lastClick_ = point;
        postIconEvent(WM_CONTEXTMENU, point);
        return sd_bus_reply_method_return(request, "");
    }

    static int ignore(sd_bus_message* request, void* /*data*/, sd_bus_error* /*error*/) {
        return sd_bus_reply_method_return(request, "");
    }

    static int property(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* name,
                        sd_bus_message* reply, void* data, sd_bus_error* /*error*/) {
        const ShownIcon& icon = item(data).icon_;
        const std::string_view property = name;
        if (property == "IconPixmap") {
            appendPictures(reply, icon.picture.get());
        } else if (property == "OverlayIconPixmap" || property == "AttentionIconPixmap") {
            appendPictures(reply, nullptr);
        } else if (property == "ToolTip") {
            appendToolTip(reply, icon);
        } else if (property == "WindowId") {
            sd_bus_message_append(reply, "i", 0);
        } else if (property == "ItemIsMenu") {
            sd_bus_message_append(reply, "b", 0);
        } else if (property == "Menu") {
            sd_bus_message_append(reply, "o", "/MenuBar");
        } else {
            sd_bus_message_append(reply, "s", textOf(property, icon));
        }
        return 1;
    }

    static const char* textOf(std::string_view property, const ShownIcon& icon) {
        if (property == "Category") {
            return "ApplicationStatus";
        }
        if (property == "Status") {
            return "Active";
        }
        if (property == "Id") {
            return program_invocation_short_name;
        }
        if (property == "Title") {
            return icon.tip.c_str();
        }
        return property == "IconName" && icon.picture ? icon.picture->themeName.c_str() : "";
    }
};

namespace {

const sd_bus_vtable calls[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Category", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("Id", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("Title", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("Status", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("WindowId", "i", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("IconThemePath", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("IconName", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("IconPixmap", "a(iiay)", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("OverlayIconName", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("OverlayIconPixmap", "a(iiay)", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("AttentionIconName", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("AttentionIconPixmap", "a(iiay)", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("AttentionMovieName", "s", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("ToolTip", "(sa(iiay)ss)", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("ItemIsMenu", "b", BusItemCalls::property, 0, 0),
    SD_BUS_PROPERTY("Menu", "o", BusItemCalls::property, 0, 0),
    SD_BUS_METHOD("Activate", "ii", "", BusItemCalls::activate, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SecondaryActivate", "ii", "", BusItemCalls::ignore, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("ContextMenu", "ii", "", BusItemCalls::contextMenu, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Scroll", "is", "", BusItemCalls::ignore, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("ProvideXdgActivationToken", "s", "", BusItemCalls::ignore, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("NewTitle", "", 0),
    SD_BUS_SIGNAL("NewIcon", "", 0),
    SD_BUS_SIGNAL("NewAttentionIcon", "", 0),
    SD_BUS_SIGNAL("NewOverlayIcon", "", 0),
    SD_BUS_SIGNAL("NewToolTip", "", 0),
    SD_BUS_SIGNAL("NewStatus", "s", 0),
    SD_BUS_VTABLE_END,
};

}  // namespace

BusItem::BusItem(sd_bus* bus) : bus_(bus), name_(std::string(interface) + "-" + std::to_string(getpid()) + "-1") {}

void BusItem::show(const ShownIcon& icon) {
    icon_ = icon;
    if (isShown()) {
        for (const char* const signal : {"NewTitle", "NewIcon", "NewToolTip"}) {
            sd_bus_emit_signal(bus_, path, interface, signal, "");
        }
        return;
    }
    object_ = makeSlot(
        [&](sd_bus_slot** slot) { return sd_bus_add_object_vtable(bus_, slot, path, interface, calls, this); });
    sd_bus_request_name_async(bus_, nullptr, name_.c_str(), 0, BusItemCalls::named, nullptr);
}

void BusItem::remove() {
    if (isShown()) {
        sd_bus_release_name_async(bus_, nullptr, name_.c_str(), BusItemCalls::named, nullptr);
        object_.reset();
    }
}

void BusItem::registerWithWatcher() {
    sd_bus_call_method_async(bus_, nullptr, "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                             "org.kde.StatusNotifierWatcher", "RegisterStatusNotifierItem", nullptr, nullptr, "s",
                             name_.c_str());
}

// Panels report single clicks only: the second one of two, soon after, makes them a double click.
void BusItem::click(const POINT& point) {
    const auto now = std::chrono::steady_clock::now();
    const bool isSecond = firstOfTwo_ && now - *firstOfTwo_ <= std::chrono::milliseconds(GetDoubleClickTime());
    lastClick_ = point;
    postIconEvent(isSecond ? WM_LBUTTONDBLCLK : NIN_SELECT, point);
    if (isSecond) {
        firstOfTwo_.reset();
    } else {
        firstOfTwo_ = now;
    }
}

}  // namespace win32
