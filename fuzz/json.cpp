// JSON: what was written reads back as it was, but for the documented bounds of the writer.
#include "data/json_value.h"

#include <algorithm>

#include "fuzz.h"
#include "trees.h"

using data::Value;
using data::ValueType;

namespace {

// Keys and control characters are written as they stand, and Reals with six digits.
bool isWritable(const std::string& text, bool isKey) {
    return std::ranges::none_of(text, [isKey](unsigned char c) {
        const bool isEscaped = !isKey && (c == '\b' || c == '\f' || c == '\n' || c == '\r' || c == '\t');
        return (c < 0x20 && !isEscaped) || (isKey && (c == '"' || c == '\\'));
    });
}

bool isWritable(const Value& value) {
    return value.type != ValueType::Real && isWritable(value.text, false) &&
           std::ranges::all_of(value.items, [](const Value& item) { return isWritable(item); }) &&
           std::ranges::all_of(value.members, [](const auto& member) {
               return isWritable(member.first, true) && isWritable(member.second);
           });
}

}  // namespace

FUZZ_TARGET(json) {
    const Value tree = data::parseJson(input.data(), input.size());
    fuzz::require(tree.type == ValueType::Null || tree.isObject() || tree.type == ValueType::Array, "a container");
    if (tree.type == ValueType::Null) {
        return;
    }
    const Value copy = tree;
    const auto written = data::toJsonBytes(copy);
    if (isWritable(tree)) {
        const Value again = data::parseJson(written.data(), written.size());
        fuzz::require(fuzz::describe(again) == fuzz::describe(tree), "what was written reads back the same");
    }
}
