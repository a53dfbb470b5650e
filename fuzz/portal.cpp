// The answers of the desktop's dialog for files.
#include "linux/desktop/portal_answer.h"
#include "peer_bus.h"

using win32::FileDialogResult;

namespace {

FileDialogResult read(const win32::BusMessage& message) {
    static std::uint64_t serial = 0;
    sd_bus_message_seal(message.get(), ++serial, 0);
    sd_bus_message_rewind(message.get(), 1);
    return win32::readPortalAnswer(message.get());
}

win32::BusMessage makeAnswer() {
    static const fuzz::PeerBus bus;
    sd_bus_message* made = nullptr;
    sd_bus_message_new_signal(bus.client.get(), &made, "/request", "org.freedesktop.portal.Request", "Response");
    return win32::BusMessage(made);
}

// Each byte as an escape.
std::string addressOf(std::string_view path) {
    std::string address = "file://";
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        address += '%';
        address += "0123456789abcdef"[byte >> 4U];
        address += "0123456789ABCDEF"[byte & 0xFU];
    }
    return address;
}

}  // namespace

FUZZ_TARGET(portal) {
    fuzz::Parts parts(input);
    const bool isUsual = parts.byte() % 2 == 0;
    const win32::BusMessage message = makeAnswer();
    if (isUsual) {
        const std::string path = "/" + parts.text();
        const std::string before = parts.text();
        const char* const other = before == "uris" ? "" : before.c_str();
        if (sd_bus_message_append(message.get(), "ua{sv}", 0, 2, other, "s", "x", "uris", "as", 1,
                                  addressOf(path).c_str()) < 0) {
            return;  // what isn't UTF-8 can't be in a message
        }
        const FileDialogResult answer = read(message);
        fuzz::require(answer.outcome == FileDialogResult::Outcome::chosen && answer.path == path,
                      "the path comes through");
        return;
    }
    const bool isWhole = parts.byte() % 4 != 0;
    fuzz::Arguments(message.get(), parts).append(isWhole ? "ua{sv}" : "sau");
    const FileDialogResult answer = read(message);
    const bool isChosen = answer.outcome == FileDialogResult::Outcome::chosen;
    fuzz::require(isChosen == !answer.path.empty(), "a path for what was chosen");
    fuzz::require(!isChosen || answer.path.front() == '/', "a local file has a whole path");
}
