#include "linux/desktop/file_chooser.h"

#include <gtest/gtest.h>

#include "layer/linux/private_bus.h"
#include "temp_session.h"

namespace {

// A portal that gives a file or refuses, and remembers what it was asked.
struct Portal {
    bool refuses = false;
    std::string asked;

    static int open(sd_bus_message* call, void* data, sd_bus_error* /*error*/) {
        return static_cast<Portal*>(data)->answer(call);
    }

    int answer(sd_bus_message* call) {
        const char* parent = "";
        const char* title = "";
        sd_bus_message_read(call, "ss", &parent, &title);
        asked = std::string(sd_bus_message_get_member(call)) + "|" + parent + "|" + title;
        const std::string path = readOptions(call);
        if (refuses) {
            return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED, "no");
        }
        sd_bus_reply_method_return(call, "o", path.c_str());
        return sd_bus_emit_signal(sd_bus_message_get_bus(call), path.c_str(), "org.freedesktop.portal.Request",
                                  "Response", "ua{sv}", 0U, 2, "choices", "as", 0, "uris", "as", 1,
                                  "file:///a%20b/%C3%A4%z.dbk");
    }

    // Gives the path that the answer comes from.
    std::string readOptions(sd_bus_message* call) {
        std::string path = "/org/freedesktop/portal/desktop/request/";
        for (const char c : std::string(sd_bus_message_get_sender(call) + 1)) {
            path += c == '.' ? '_' : c;
        }
        sd_bus_message_enter_container(call, 'a', "{sv}");
        while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
            const char* key = "";
            const char* token = "";
            sd_bus_message_read(call, "s", &key);
            if (std::string(key) == "handle_token") {
                sd_bus_message_read(call, "v", "s", &token);
                path += std::string("/") + token;
            } else {
                asked += std::string("|") + key;
                sd_bus_message_skip(call, "v");
            }
            sd_bus_message_exit_container(call);
        }
        return path;
    }
};

const sd_bus_vtable portalCalls[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("OpenFile", "ssa{sv}", "o", Portal::open, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SaveFile", "ssa{sv}", "o", Portal::open, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

TEST(FileChooserTest, AsksThePortal) {
    const tests::TempSession session;
    using Outcome = win32::FileDialogResult::Outcome;
    const tests::PrivateBus bus(session.path().string());
    const tests::EnvironmentSetting address("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str());
    Portal portal;
    tests::FakeDesktop desktop(bus.address(), {"org.freedesktop.portal.Desktop"});
    desktop.run(
        [&](sd_bus* connection) {
            sd_bus_add_object_vtable(connection, nullptr, "/org/freedesktop/portal/desktop",
                                     "org.freedesktop.portal.FileChooser", portalCalls, &portal);
        },
        [] {});
    const auto answer = win32::runFileDialog({"title", nullptr, "/tmp", true, false, "File", "*.dbk"});
    EXPECT_EQ(answer.outcome, Outcome::chosen);
    EXPECT_EQ(answer.path, "/a b/\xC3\xA4%z.dbk");
    EXPECT_EQ(portal.asked, "SaveFile||title|modal|current_folder|filters");
    win32::runFileDialog({"title", nullptr, {}, false, true});
    EXPECT_EQ(portal.asked, "OpenFile||title|modal|directory");
    portal.refuses = true;
    EXPECT_EQ(win32::runFileDialog({"title"}).outcome, Outcome::failed);
}

}  // namespace
