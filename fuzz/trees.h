// Value trees as the targets compare them.
#pragma once

#include <string>
#include <vector>

#include "data/value.h"

namespace fuzz {

// All that a tree holds, in one text: equal trees have equal texts. Not by recursion, as a tree may be of any depth.
inline std::string describe(const data::Value& tree) {
    std::string out;
    const auto put = [&out](const std::string& text) { out += std::to_string(text.size()) + ":" + text; };
    struct Step {
        const data::Value* value;  // null: the end of one
        const std::string* name;
    };
    std::vector<Step> pending{{&tree, nullptr}};
    while (!pending.empty()) {
        const auto [value, name] = pending.back();
        pending.pop_back();
        if (value == nullptr) {
            out += ';';
            continue;
        }
        put(name == nullptr ? "" : *name);
        out += std::to_string(static_cast<unsigned>(value->type));
        put(value->type == data::ValueType::Object ? value->text : value->toText());
        put(*value->comment);
        for (const auto& [attribute, text] : *value->attributes) {
            put(attribute);
            put(text);
        }
        pending.push_back({nullptr, nullptr});
        for (const auto& [key, member] : value->members) {
            pending.push_back({&member, &key});
        }
        for (const data::Value& item : value->items) {
            pending.push_back({&item, nullptr});
        }
    }
    return out;
}

}  // namespace fuzz
