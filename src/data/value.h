// The one tree for all structured text, whether it came as XML or as JSON.
//
// Code looks up a key, gets a reference and decides by its tag. What is absent is `nullValue`, never an error, so
// lookups chain. A Value is plain data: it owns its children, is copied deep and has no lock. However deep a tree is,
// none of the operations here follows it with the stack.
#pragma once

#include <boost/container/map.hpp>
#include <concepts>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "data/optional_list.h"
#include "data/optional_part.h"

namespace data {

enum class ValueType : std::uint32_t {
    Null = 0,
    Integer = 1,
    Real = 2,
    String = 3,
    Boolean = 4,
    Array = 5,
    Object = 6,
};

class Value {
public:
    // Both are ordered byte-wise. With Boost's map a Value and its node are 24 bytes smaller than with std::map.
    using Members = boost::container::map<std::string, Value, std::less<>>;
    using Attributes = std::map<std::string, std::string, std::less<>>;

    explicit Value(ValueType tag = ValueType::Null) : type(tag) {}
    Value(const char* string) : type(ValueType::String), text(string) {}
    Value(std::string string) : type(ValueType::String), text(std::move(string)) {}
    Value(std::same_as<bool> auto value) : type(ValueType::Boolean), boolean(value) {}
    template <std::integral T>
    requires(!std::same_as<T, bool>) Value(T value)
        : type(ValueType::Integer), integer(static_cast<std::int64_t>(value)) {}
    Value(double value) : type(ValueType::Real), real(value) {}

    Value(const Value& other);
    Value(Value&& other) noexcept = default;
    // A value may be assigned from a part of itself.
    Value& operator=(const Value& other);
    Value& operator=(Value&& other) noexcept;
    ~Value();
    void swap(Value& other) noexcept;

    // A reference into this value, or nullValue if it isn't an Object or lacks the key.
    const Value& find(std::string_view key) const;
    const Value& find(std::string_view section, std::string_view key) const;
    const Value& find(std::string_view top, std::string_view section, std::string_view key) const;

    // The entry of an Object, made as Null if it is absent.
    Value& member(std::string_view key);
    Value& set(std::string_view key, Value value);
    // To the end of an Array; gives the new element.
    Value& append(Value value);

    bool isObject() const { return type == ValueType::Object; }
    bool isString() const { return type == ValueType::String; }
    // An empty string counts.
    bool hasString(std::string_view key) const { return find(key).isString(); }
    // Null, an empty string, no items or no members; 0 and false aren't empty.
    bool isEmpty() const;
    // Numbers in decimal (a Real with six significant digits), "true" or "false", else `text`.
    std::string toText() const;

    // Only the field of the tag has a meaning, and `text` in an Object that came from XML: its own character data.
    ValueType type;
    bool boolean = false;
    std::int64_t integer = 0;
    double real = 0;
    std::string text;
    OptionalList<Value> items;
    Members members;
    // The XML attributes of the element, and the comment that stood before it.
    OptionalPart<Attributes> attributes;
    OptionalPart<std::string> comment;

private:
    bool hasChildren() const { return !items.empty() || !members.empty(); }
    void copyFields(const Value& other);
};

// Lives from before any use to the end of the process: what is found is never this very object.
inline const Value& nullValue = *new Value;

// A number as a stream prints it by default, whatever the locale.
std::string decimal(std::int64_t number);
std::string decimal(double number);

}  // namespace data
