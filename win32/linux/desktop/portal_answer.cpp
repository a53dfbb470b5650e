#include "linux/desktop/portal_answer.h"

#include <systemd/sd-bus.h>

#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace win32 {

namespace {

// The byte behind an escape's percent sign; none if these aren't two hexadecimal digits.
std::optional<char> escapedByte(std::string_view digits) {
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    return digits.size() == 2 && end == digits.data() + 2 && byte != 0 ? std::optional(static_cast<char>(byte))
                                                                       : std::nullopt;
}

// "file:///a%20b" as "/a b"; empty for what isn't a local file, another machine's among that.
std::string pathOf(std::string_view address) {
    constexpr std::string_view scheme = "file://";
    if (!address.starts_with(scheme)) {
        return {};
    }
    std::string path;
    for (std::size_t i = scheme.size(); i < address.size(); ++i) {
        const auto escaped = address[i] == '%' ? escapedByte(address.substr(i + 1, 2)) : std::nullopt;
        path += escaped.value_or(address[i]);
        i += escaped ? 2 : 0;
    }
    return path.starts_with('/') ? path : std::string();
}

std::string readPath(sd_bus_message* signal) {
    sd_bus_message_enter_container(signal, 'a', "{sv}");
    while (sd_bus_message_enter_container(signal, 'e', "sv") > 0) {
        const char* key = "";
        const char* address = "";
        sd_bus_message_read(signal, "s", &key);
        if (std::strcmp(key, "uris") != 0) {
            sd_bus_message_skip(signal, "v");
        } else if (sd_bus_message_enter_container(signal, 'v', "as") > 0 &&
                   sd_bus_message_enter_container(signal, 'a', "s") > 0 &&
                   sd_bus_message_read(signal, "s", &address) > 0) {
            return pathOf(address);
        }
        sd_bus_message_exit_container(signal);
    }
    return {};
}

}  // namespace

FileDialogResult readPortalAnswer(sd_bus_message* signal) {
    using Outcome = FileDialogResult::Outcome;
    constexpr std::uint32_t chosen = 0;
    std::uint32_t code = 1;
    sd_bus_message_read(signal, "u", &code);
    if (code != chosen) {
        // By the button, or in some other way: portals report the Escape key as of the latter.
        return {Outcome::cancelled, {}};
    }
    const std::string path = readPath(signal);
    return {path.empty() ? Outcome::failed : Outcome::chosen, path};
}

}  // namespace win32
