#include "device/device_list.h"

#include <algorithm>
#include <iostream>
#include <sstream>

#include "base/number.h"
#include "base/text.h"

namespace device {

using data::Value;
using data::ValueType;

namespace {

// Calls with each item of a repeated element, or with the one element.
template <typename Action>
void forEach(const Value& element, Action action) {
    if (element.type == ValueType::Array) {
        std::for_each(element.items.begin(), element.items.end(), action);
    } else {
        action(element);
    }
}

const Value& deviceNodes(const Value& document) { return document.find("device-set", "devices", "device"); }

SupportedDevice parseVariant(const Value& variant) {
    const Value& identification = variant.find("identification");
    SupportedDevice entry;
    entry.vendorID = base::parseHexadecimal(identification.find("vendorID").toText()).value_or(0);
    entry.productID = base::parseHexadecimal(identification.find("productID").toText()).value_or(0);
    entry.typeID = identification.find("typeID").toText();
    entry.brztsupport = valueIsTrue(variant.find("brztsupport"));
    if (entry.vendorID == 0) {
        std::cout << "VendorID is missing\n";
    }
    return entry;
}

}  // namespace

std::vector<SupportedDevice> supportedEntries(const Value& document) {
    std::vector<SupportedDevice> entries;
    forEach(deviceNodes(document), [&](const Value& node) {
        const Value& variants = node.find("variants", "variant");
        if (&variants != &data::nullValue) {
            forEach(variants, [&](const Value& variant) { entries.push_back(parseVariant(variant)); });
        }
    });
    return entries;
}

std::vector<std::string> unsupportedEntries(const Value& document) {
    std::vector<std::string> entries;
    forEach(deviceNodes(document), [&](const Value& node) { entries.push_back(node.toText()); });
    return entries;
}

std::int64_t deviceListRevision(const Value& document) {
    const Value& revision = document.find("device-set", "Revision-version");
    switch (revision.type) {
        case ValueType::String: {
            std::istringstream text(revision.text);
            std::int64_t number = 0;
            return text >> number ? number : 0;
        }
        case ValueType::Real:
            return static_cast<std::int64_t>(revision.real);
        case ValueType::Boolean:
            return revision.boolean ? 1 : 0;
        default:
            return revision.integer;
    }
}

bool deviceMatchesFilter(const std::vector<SupportedDevice>& list, std::uint32_t vendor, std::uint32_t product) {
    constexpr std::uint32_t modelMask = 0xFFF;
    return std::any_of(list.begin(), list.end(), [&](const SupportedDevice& entry) {
        return entry.vendorID == vendor && (entry.productID & modelMask) == (product & modelMask);
    });
}

bool valueIsTrue(const Value& value) {
    switch (value.type) {
        case ValueType::Integer:
            return value.integer != 0;
        case ValueType::Real:
            return value.real != 0.0;
        case ValueType::String: {
            const std::string text = base::toLower(value.text);
            return text == "true" || text == "yes" || text == "1";
        }
        case ValueType::Boolean:
            return value.boolean;
        default:
            return false;
    }
}

}  // namespace device
