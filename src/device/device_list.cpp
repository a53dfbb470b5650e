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

// The items of a repeated element, or the one element as the only item of `storage`.
const Value& asArray(const Value& value, Value& storage) {
    if (value.type == ValueType::Array) {
        return value;
    }
    storage = Value(ValueType::Array);
    storage.append(value);
    return storage;
}

const Value& deviceNodes(const Value& document, Value& storage) {
    return asArray(document.find("device-set", "devices", "device"), storage);
}

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
    Value oneDevice;
    for (const Value& node : deviceNodes(document, oneDevice).items) {
        const Value& variants = node.find("variants", "variant");
        if (&variants == &data::nullValue) {
            continue;
        }
        Value oneVariant;
        for (const Value& variant : asArray(variants, oneVariant).items) {
            entries.push_back(parseVariant(variant));
        }
    }
    return entries;
}

std::vector<std::string> unsupportedEntries(const Value& document) {
    std::vector<std::string> entries;
    Value oneDevice;
    for (const Value& node : deviceNodes(document, oneDevice).items) {
        entries.push_back(node.toText());
    }
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
