#include "data/json_value.h"

#include <jansson.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "base/utf8.h"

namespace data {

namespace {

struct JsonRelease {
    void operator()(json_t* json) const { json_decref(json); }
};

// Recursion is bounded: the decoder refuses more than 2,048 levels.
void convert(json_t* json, Value& value) {
    switch (json_typeof(json)) {
        case JSON_OBJECT:
            value.type = ValueType::Object;
            for (void* entry = json_object_iter(json); entry != nullptr; entry = json_object_iter_next(json, entry)) {
                const std::string_view key = json_object_iter_key(entry);
                if (key.empty()) {
                    break;
                }
                convert(json_object_iter_value(entry), value.member(key));
            }
            break;
        case JSON_ARRAY:
            value.type = ValueType::Array;
            for (std::size_t i = 0; i < json_array_size(json); ++i) {
                convert(json_array_get(json, i), value.items.emplace_back());
            }
            break;
        case JSON_STRING:
            value.type = ValueType::String;
            value.text.assign(json_string_value(json), json_string_length(json));
            break;
        case JSON_INTEGER:
            value.type = ValueType::Integer;
            value.integer = json_integer_value(json);
            break;
        case JSON_REAL:
            value.type = ValueType::Real;
            value.real = json_real_value(json);
            break;
        case JSON_TRUE:
        case JSON_FALSE:
            value.type = ValueType::Boolean;
            value.boolean = json_is_true(json);
            break;
        case JSON_NULL:
            break;
    }
}

// What stands behind the backslash for an ASCII character; 0: the character stands for itself; endOfText: it can't be
// written.
constexpr char endOfText = '\1';
constexpr std::array<char, 128> escapes = [] {
    std::array<char, 128> table{};
    table['\0'] = endOfText;
    table['\\'] = '\\';
    table['"'] = '"';
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    return table;
}();

class JsonWriter {
public:
    std::vector<std::uint8_t> write(const Value& value) {
        begin(value);
        while (!open_.empty()) {
            step();
        }
        return std::move(out_);
    }

private:
    // A container of which some children are still to be written.
    struct Open {
        const Value* container;
        Value::Members::const_iterator member;
        OptionalList<Value>::const_iterator item;
        bool isObject() const { return container->type == ValueType::Object; }
        bool isDone() const { return isObject() ? member == container->members.end() : item == container->items.end(); }
    };

    void put(std::string_view text) { out_.insert(out_.end(), text.begin(), text.end()); }

    void startLine() {
        const std::size_t start = out_.size();
        out_.resize(start + 2 + open_.size(), ' ');
        out_[start] = '\r';
        out_[start + 1] = '\n';
    }

    // A whole scalar or empty container, or the opening of a container.
    void begin(const Value& value) {
        switch (value.type) {
            case ValueType::String:
                putString(value.text);
                break;
            case ValueType::Array:
                value.items.empty() ? put("[ ]") : open(value, "[");
                break;
            case ValueType::Object:
                value.members.empty() ? put("{ }") : open(value, "{");
                break;
            case ValueType::Null:
                put("null");
                break;
            default:
                put(value.toText());
                break;
        }
    }

    void open(const Value& value, std::string_view bracket) {
        put(bracket);
        open_.push_back({&value, value.members.begin(), value.items.begin()});
        startLine();
    }

    // Writes the next child of the innermost container. The line of a child is begun by what stands before it.
    void step() {
        Open& top = open_.back();
        if (top.isDone()) {
            const std::string_view bracket = top.isObject() ? "}" : "]";
            open_.pop_back();
            startLine();
            put(bracket);
            separate();
        } else if (top.isObject()) {
            const auto& [key, value] = *top.member++;
            putKey(key);
            child(value);
        } else {
            child(*top.item++);
        }
    }

    void child(const Value& value) {
        const std::size_t level = open_.size();
        begin(value);
        if (open_.size() == level) {
            separate();
        }
    }

    void separate() {
        if (!open_.empty() && !open_.back().isDone()) {
            out_.push_back(',');
            startLine();
        }
    }

    void putKey(std::string_view key) {
        const std::size_t start = out_.size();
        out_.resize(start + key.size() + 4);
        std::uint8_t* const target = out_.data() + start;
        target[0] = '"';
        std::memcpy(target + 1, key.data(), key.size());
        constexpr std::array<std::uint8_t, 3> divider = {'"', ':', ' '};
        std::memcpy(target + 1 + key.size(), divider.data(), divider.size());
    }

    void putString(std::string_view text) {
        out_.push_back('"');
        std::size_t plain = 0;  // begin of what is still to be copied
        std::size_t at = 0;
        while (at < text.size()) {
            const auto byte = static_cast<unsigned char>(text[at]);
            if (byte >= 0x80) {
                const std::size_t length = base::firstCodePoint(text.substr(at)).length;
                if (length == 0) {
                    break;
                }
                at += length;
            } else if (const char escape = escapes[byte]; escape == 0) {
                ++at;
            } else if (escape == endOfText) {
                break;
            } else {
                put(text.substr(plain, at - plain));
                out_.push_back('\\');
                out_.push_back(static_cast<std::uint8_t>(escape));
                plain = ++at;
            }
        }
        put(text.substr(plain, at - plain));
        out_.push_back('"');
    }

    std::vector<std::uint8_t> out_;
    std::vector<Open> open_;
};

}  // namespace

Value parseJson(const void* bytes, std::size_t length) {
    const std::unique_ptr<json_t, JsonRelease> json(json_loadb(static_cast<const char*>(bytes), length, 0, nullptr));
    Value value;
    if (json) {
        convert(json.get(), value);
    }
    return value;
}

std::vector<std::uint8_t> toJsonBytes(const Value& value) { return JsonWriter().write(value); }

bool writeJson(const Value& value, const std::shared_ptr<DataSink>& sink) {
    if (!sink) {
        return false;
    }
    const std::vector<std::uint8_t> bytes = toJsonBytes(value);
    if (!bytes.empty()) {
        sink->append(bytes.data(), bytes.size());
    }
    return true;
}

}  // namespace data
