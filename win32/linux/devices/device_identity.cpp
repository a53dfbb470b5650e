#include "linux/devices/device_identity.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "linux/support/text.h"

namespace win32 {

namespace {

constexpr std::string_view interfaceClass = "#{6ac27878-a6fa-4155-ba85-f98f491d4f33}";

struct UsbIds {
    unsigned vendor;
    unsigned product;
};

unsigned hexadecimal(const std::string& digits) {
    return static_cast<unsigned>(std::strtoul(digits.c_str(), nullptr, 16)) & 0xFFFFU;
}

std::optional<UsbIds> idsFromAttributes(const DeviceFacts& facts) {
    if (facts.vendor.empty() || facts.product.empty()) {
        return std::nullopt;
    }
    return UsbIds{hexadecimal(facts.vendor), hexadecimal(facts.product)};
}

std::optional<UsbIds> idsFromEvent(const std::string& event) {
    const std::size_t divider = event.find('/');
    if (divider == 0 || divider == std::string::npos) {
        return std::nullopt;
    }
    return UsbIds{hexadecimal(event), hexadecimal(event.substr(divider + 1))};
}

std::string hardwareId(const UsbIds& ids) {
    std::array<char, 24> id{};
    std::snprintf(id.data(), id.size(), "vid_%04x&pid_%04x", ids.vendor, ids.product);
    return id.data();
}

// Windows makes an identifier from the place in the tree where the device gives none of its own.
std::string portId(std::string_view systemPath) {
    unsigned hash = 2166136261U;
    for (const char c : systemPath) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    std::array<char, 16> id{};
    std::snprintf(id.data(), id.size(), "%x", hash);
    return id.data();
}

// What may not stand inside one element of a device path.
std::string pathElement(std::string element) {
    std::replace_if(
        element.begin(), element.end(),
        [](char c) { return c == '#' || c == '\\' || c == '/' || static_cast<unsigned char>(c) <= ' '; }, '_');
    return element;
}

template <int fold(int)>
std::string folded(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(c < 0x80 ? fold(c) : c); });
    return text;
}

// The device's serial, or, where that is empty or taken by another one of its kind, something of its place. The case of
// letters doesn't tell paths apart.
std::string claimSerial(const std::string& kind, const DeviceFacts& facts, std::set<std::string>& claims) {
    const auto isFree = [&](const std::string& serial) {
        return claims.insert(folded<std::tolower>(kind + "#" + serial)).second;
    };
    const std::string place = "5&" + portId(facts.systemPath) + "&";
    std::string serial = pathElement(facts.serial);
    for (int count = 0; serial.empty() || !isFree(serial); ++count) {
        serial = place + std::to_string(count);
    }
    return serial;
}

}  // namespace

PortableDevice identify(const DeviceFacts& facts, std::set<std::string>& claims) {
    PortableDevice result;
    result.systemPath = facts.systemPath;
    const auto ids = idsFromAttributes(facts);
    const std::string serial = claimSerial(ids ? hardwareId(*ids) : std::string(), facts, claims);
    std::string element = ids ? hardwareId(*ids) : pathElement(facts.nodeName);
    std::string instance = serial;
    const bool composite = std::strtoul(facts.interfaceCount.c_str(), nullptr, 10) > 1;
    if (composite && ids) {
        const std::string number = facts.interfaceNumber.empty() ? "00" : facts.interfaceNumber;
        element += "&mi_" + number;
        instance = "6&" + portId(result.systemPath) + "&0&00" + number;
    }
    const std::string path = "\\\\?\\usb#" + element + "#" + instance + std::string(interfaceClass);
    result.interfacePath = toWide(folded<std::tolower>(path));
    result.instanceId = toWide(folded<std::toupper>("usb\\" + element + "\\" + instance));
    if (!ids || composite) {
        auto carrier = ids ? ids : idsFromEvent(facts.deviceEvent);
        carrier = carrier ? carrier : idsFromEvent(facts.nodeEvent);
        if (carrier) {
            const std::string relation = "usb\\" + hardwareId(*carrier) + "\\" + serial;
            result.transportRelations.push_back(toWide(folded<std::toupper>(relation)));
        }
    }
    return result;
}

}  // namespace win32
