#include "data/value.h"

#include <array>
#include <charconv>
#include <vector>

namespace data {

namespace {

constexpr int significantDigits = 6;

// How deep the destruction follows a tree by itself, which is the fast way.
constexpr int maximumRecursion = 64;

// Children taken out of their parents, to be destroyed level by level.
struct Orphans {
    std::vector<OptionalList<Value>> items;
    std::vector<Value::Members> members;

    void adopt(Value& parent) {
        if (!parent.items.empty()) {
            items.push_back(std::move(parent.items));
        }
        if (!parent.members.empty()) {
            members.push_back(std::move(parent.members));
        }
    }

    void destroy() {
        while (!items.empty() || !members.empty()) {
            if (!items.empty()) {
                OptionalList<Value> level = std::move(items.back());
                items.pop_back();
                for (Value& item : level) {
                    adopt(item);
                }
            } else {
                Value::Members level = std::move(members.back());
                members.pop_back();
                for (auto& [key, value] : level) {
                    adopt(value);
                }
            }
        }
    }
};

template <typename Number, typename... Format>
std::string print(Number number, Format... format) {
    std::array<char, 32> buffer{};
    const auto end = std::to_chars(buffer.begin(), buffer.end(), number, format...).ptr;
    return {buffer.begin(), end};
}

}  // namespace

std::string decimal(std::int64_t number) { return print(number); }
std::string decimal(double number) { return print(number, std::chars_format::general, significantDigits); }

Value::Value(const Value& other) : type(other.type) {
    struct Pair {
        const Value* from;
        Value* to;
    };
    std::vector<Pair> pending;
    const auto copy = [&](const Value& from, Value& to) {
        to.copyFields(from);
        if (from.hasChildren()) {
            pending.push_back({&from, &to});
        }
    };
    copy(other, *this);
    while (!pending.empty()) {
        const auto [from, to] = pending.back();
        pending.pop_back();
        for (const Value& item : from->items) {
            copy(item, to->items.emplace_back());
        }
        for (const auto& [key, value] : from->members) {
            copy(value, to->members.emplace_hint(to->members.end(), key, ValueType::Null)->second);
        }
    }
}

void Value::copyFields(const Value& other) {
    type = other.type;
    integer = other.integer;
    real = other.real;
    text = other.text;
    boolean = other.boolean;
    attributes = other.attributes;
    comment = other.comment;
}

Value& Value::operator=(const Value& other) {
    Value copy(other);
    swap(copy);
    return *this;
}

Value& Value::operator=(Value&& other) noexcept {
    Value taken(std::move(other));
    swap(taken);
    return *this;
}

Value::~Value() {
    if (!hasChildren()) {
        return;
    }
    thread_local int depth = 0;
    if (depth < maximumRecursion) {
        ++depth;
        items.clear();
        members.clear();
        --depth;
    } else {
        Orphans orphans;
        orphans.adopt(*this);
        orphans.destroy();
    }
}

void Value::swap(Value& other) noexcept {
    std::swap(type, other.type);
    std::swap(integer, other.integer);
    std::swap(real, other.real);
    text.swap(other.text);
    std::swap(boolean, other.boolean);
    items.swap(other.items);
    members.swap(other.members);
    std::swap(attributes, other.attributes);
    std::swap(comment, other.comment);
}

const Value& Value::find(std::string_view key) const {
    if (type != ValueType::Object) {
        return nullValue;
    }
    const auto found = members.find(key);
    return found == members.end() ? nullValue : found->second;
}

const Value& Value::find(std::string_view section, std::string_view key) const { return find(section).find(key); }

const Value& Value::find(std::string_view top, std::string_view section, std::string_view key) const {
    return find(top).find(section).find(key);
}

Value& Value::member(std::string_view key) {
    const auto member = members.lower_bound(key);
    if (member != members.end() && member->first == key) {
        return member->second;
    }
    return members.emplace_hint(member, key, ValueType::Null)->second;
}

Value& Value::set(std::string_view key, Value value) {
    const auto member = members.lower_bound(key);
    if (member != members.end() && member->first == key) {
        return member->second = std::move(value);
    }
    return members.emplace_hint(member, key, std::move(value))->second;
}

Value& Value::append(Value value) { return items.emplace_back(std::move(value)); }

bool Value::isEmpty() const {
    switch (type) {
        case ValueType::Null:
            return true;
        case ValueType::String:
            return text.empty();
        case ValueType::Array:
            return items.empty();
        case ValueType::Object:
            return members.empty();
        default:
            return false;
    }
}

std::string Value::toText() const {
    switch (type) {
        case ValueType::Integer:
            return decimal(integer);
        case ValueType::Real:
            return decimal(real);
        case ValueType::Boolean:
            return boolean ? "true" : "false";
        default:
            return text;
    }
}

}  // namespace data
