// The yardstick of the icon: a bare program that registers a notification item with the panel and does nothing else.
#include <systemd/sd-bus.h>

#include <string>

namespace {

int giveText(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* property,
             sd_bus_message* reply, void* /*data*/, sd_bus_error* /*error*/) {
    const std::string name = property;
    return sd_bus_message_append(reply, "s",
                                 name == "Status"     ? "Active"
                                 : name == "Category" ? "ApplicationStatus"
                                 : name == "IconName" ? "dialog-information"
                                                      : "ZelmoDocksetAgent");
}

const sd_bus_vtable item[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Id", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Title", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Status", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Category", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("IconName", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};

}  // namespace

int main() {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0 || sd_bus_add_object_vtable(bus, nullptr, "/StatusNotifierItem",
                                                               "org.kde.StatusNotifierItem", item, nullptr) < 0) {
        return 1;
    }
    const char* name = nullptr;
    sd_bus_get_unique_name(bus, &name);
    sd_bus_call_method_async(bus, nullptr, "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                             "org.kde.StatusNotifierWatcher", "RegisterStatusNotifierItem", nullptr, nullptr, "s",
                             name);
    while (sd_bus_wait(bus, UINT64_MAX) >= 0) {
        while (sd_bus_process(bus, nullptr) > 0) {
        }
    }
    return 0;
}
