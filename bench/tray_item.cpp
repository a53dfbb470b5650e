// The yardstick of the icon: a bare program that registers the same notification item, with the same pictures, with the
// panel and does nothing else.
#include <cairo.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

int giveText(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* property,
             sd_bus_message* reply, void* /*data*/, sd_bus_error* /*error*/) {
    const std::string name = property;
    return sd_bus_message_append(reply, "s",
                                 name == "Status"     ? "Active"
                                 : name == "Category" ? "ApplicationStatus"
                                                      : "ZelmoDocksetAgent");
}

struct Picture {
    int width;
    int height;
    std::vector<std::uint32_t> pixels;  // ARGB32 in network order
};
std::vector<Picture> pictures;

void loadPicture(const std::string& file) {
    cairo_surface_t* const surface = cairo_image_surface_create_from_png(file.c_str());
    Picture picture{cairo_image_surface_get_width(surface), cairo_image_surface_get_height(surface), {}};
    const auto* const pixels = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(surface));
    for (int i = 0; i < picture.width * picture.height; ++i) {
        picture.pixels.push_back(__builtin_bswap32(pixels[i]));
    }
    pictures.push_back(std::move(picture));
    cairo_surface_destroy(surface);
}

int givePictures(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* /*property*/,
                 sd_bus_message* reply, void* /*data*/, sd_bus_error* /*error*/) {
    sd_bus_message_open_container(reply, 'a', "(iiay)");
    for (const Picture& picture : pictures) {
        sd_bus_message_open_container(reply, 'r', "iiay");
        sd_bus_message_append(reply, "ii", picture.width, picture.height);
        sd_bus_message_append_array(reply, 'y', picture.pixels.data(), picture.pixels.size() * sizeof(std::uint32_t));
        sd_bus_message_close_container(reply);
    }
    return sd_bus_message_close_container(reply);
}

const sd_bus_vtable item[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Id", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Title", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Status", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Category", "s", giveText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("IconPixmap", "a(iiay)", givePictures, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};

}  // namespace

int main() {
    for (const char* const size : {"16", "20", "24", "32", "40", "48", "64"}) {
        loadPicture(std::string(ART_DIRECTORY) + "/icon-" + size + ".png");
    }
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
