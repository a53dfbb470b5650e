#include "linux/registry/registry_text.h"

#include <jansson.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include "linux/support/text.h"
#include "win32/registry.h"
#include "win32/system.h"

namespace win32 {

namespace {

struct JsonRelease {
    void operator()(json_t* json) const { json_decref(json); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

std::string hexOf(const std::vector<BYTE>& data) {
    constexpr const char* digits = "0123456789abcdef";
    std::string hex;
    for (const BYTE byte : data) {
        hex += digits[byte >> 4U];
        hex += digits[byte & 0xFU];
    }
    return hex;
}

std::vector<BYTE> bytesOfHex(std::string_view hex) {
    std::vector<BYTE> data;
    for (; hex.size() >= 2; hex.remove_prefix(2)) {
        const std::string pair(hex.substr(0, 2));
        data.push_back(static_cast<BYTE>(std::strtoul(pair.c_str(), nullptr, 16)));
    }
    return data;
}

std::vector<BYTE> bytesOfText(std::string_view text) {
    const WideString wide = toWide(text);
    std::vector<BYTE> data((wide.size() + 1) * sizeof(WCHAR));
    std::memcpy(data.data(), wide.c_str(), data.size());
    return data;
}

// The text of a REG_SZ that reads back to the very same bytes; others are kept in hexadecimal.
std::optional<std::string> textOf(const RegistryValue& value) {
    if (value.type != REG_SZ || value.data.size() < sizeof(WCHAR) || value.data.size() % sizeof(WCHAR) != 0) {
        return std::nullopt;
    }
    WideString wide(value.data.size() / sizeof(WCHAR), 0);
    std::memcpy(wide.data(), value.data.data(), value.data.size());
    if (wide.find(WCHAR{0}) != wide.size() - 1) {
        return std::nullopt;
    }
    wide.pop_back();
    const std::string text = toBytes(wide);
    // Lone surrogates that stand for bytes can give UTF-8 together.
    return isStorable(text) && toWide(text) == wide ? std::optional(text) : std::nullopt;
}

Json jsonOf(const RegistryValue& value) {
    Json json(json_object());
    json_object_set_new(json.get(), "type", json_integer(value.type));
    if (const auto text = textOf(value)) {
        json_object_set_new(json.get(), "text", json_string(text->c_str()));
    } else {
        json_object_set_new(json.get(), "hex", json_string(hexOf(value.data).c_str()));
    }
    return json;
}

RegistryValue valueOf(const char* name, json_t* json) {
    RegistryValue value;
    value.name = name;
    value.type = static_cast<DWORD>(json_integer_value(json_object_get(json, "type")));
    const char* const text = json_string_value(json_object_get(json, "text"));
    const char* const hex = json_string_value(json_object_get(json, "hex"));
    value.data = text != nullptr ? bytesOfText(text) : bytesOfHex(hex == nullptr ? "" : hex);
    return value;
}

}  // namespace

std::string foldName(const std::string& name) {
    WideString wide = toWide(name);
    CharLowerW(wide.data());
    return toBytes(wide);
}

bool isStorable(const std::string& name) { return Json(json_stringn(name.data(), name.size())) != nullptr; }

std::string hiveText(const RegistryContent& content) {
    const Json root(json_object());
    for (const auto& [folded, key] : content) {
        json_t* const values = json_object();
        for (const auto& [foldedName, value] : key.values) {
            json_object_set_new(values, value.name.c_str(), jsonOf(value).release());
        }
        json_object_set_new(root.get(), key.path.c_str(), values);
    }
    const std::unique_ptr<char, decltype(&std::free)> text(json_dumps(root.get(), JSON_INDENT(2)), std::free);
    return text ? std::string(text.get()) + "\n" : std::string();
}

bool parseHive(const std::string& text, RegistryContent& content) {
    const Json root(json_loadb(text.data(), text.size(), 0, nullptr));
    if (!json_is_object(root.get())) {
        return false;
    }
    const char* path = nullptr;
    json_t* values = nullptr;
    json_object_foreach(root.get(), path, values) {
        RegistryKeyContent& key = content[foldName(path)];
        key.path = path;
        const char* name = nullptr;
        json_t* value = nullptr;
        json_object_foreach(values, name, value) { key.values[foldName(name)] = valueOf(name, value); }
    }
    return true;
}

}  // namespace win32
