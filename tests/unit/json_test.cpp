#include "data/json_value.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using data::Value;
using data::ValueType;
using namespace std::string_literals;

Value parse(const std::string& text) { return data::parseJson(text.data(), text.size()); }

std::string print(const Value& value) {
    const auto bytes = data::toJsonBytes(value);
    return {bytes.begin(), bytes.end()};
}

TEST(JsonTest, ReadsEveryTag) {
    const Value tree =
        parse(R"({"i": -5, "r": 1.5, "s": "\u00e9", "t": true, "n": null, "a": [1, [2]], "o": {"x": {}}})");
    EXPECT_EQ(tree.find("i").integer, -5);
    EXPECT_EQ(tree.find("r").real, 1.5);
    EXPECT_EQ(tree.find("s").text, "\xC3\xA9");
    EXPECT_TRUE(tree.find("t").boolean);
    EXPECT_EQ(tree.find("n").type, ValueType::Null);
    EXPECT_NE(&tree.find("n"), &data::nullValue);
    EXPECT_EQ(tree.find("a").items.back().items.front().integer, 2);
    EXPECT_TRUE(tree.find("o", "x").isObject());
    EXPECT_EQ(parse(R"({"a": 1, "a": 2})").find("a").integer, 2);
    EXPECT_EQ(print(parse(R"({"z": 1, "": {"x": 1}, "a": 2, "b": 3})")), "{\r\n \"z\": 1\r\n}")
        << "an empty key ends the object";
    EXPECT_EQ(parse(R"([{"": 1}, 2])").items.size(), 2U);
}

TEST(JsonTest, RefusesWhatTheDecoderRefuses) {
    for (const std::string& text :
         {""s, "1"s, "\"text\""s, "{} x"s, "{"s, "[1,]"s, "{\"a\": 9223372036854775808}"s, "[\"\xFF\"]"s,
          "[\"a\\u0000\"]"s, std::string(3'000, '[') + std::string(3'000, ']')}) {
        EXPECT_EQ(parse(text).type, ValueType::Null) << text;
    }
}

TEST(JsonTest, WritesTheLayoutByteForByte) {
    EXPECT_EQ(print(parse(R"([{"k": [true, null], "B": []}, {}, "x", 1.5, 1234567.0])")),
              "[\r\n {\r\n  \"B\": [ ],\r\n  \"k\": [\r\n   true,\r\n   null\r\n  ]\r\n },\r\n"
              " { },\r\n \"x\",\r\n 1.5,\r\n 1.23457e+06\r\n]");
    EXPECT_EQ(print(Value(ValueType::Null)), "null");
    Value order(ValueType::Object);
    for (const char* const key : {"\xC3\xA9", "ab", "a", "q\""}) {
        order.set(key, false).text = "not written";
    }
    order.text = "not written";
    EXPECT_EQ(print(order), "{\r\n \"a\": false,\r\n \"ab\": false,\r\n \"q\"\": false,\r\n \"\xC3\xA9\": false\r\n}");

    EXPECT_EQ(print(Value("\\ \" \b \f \n \r \t \x01 \x7F / \xC3\xA9 \xF0\x9F\x98\x80")),
              R"("\\ \" \b \f \n \r \t )"
              "\x01 \x7F / \xC3\xA9 \xF0\x9F\x98\x80\"");
    for (const std::string& end : {"\0x"s, "\xFFx"s, "\xC1\x81"s, "\xF5x"s, "\xC3"s, "\xC3x"s, "\xE0\x80\x80"s,
                                   "\xED\xA0\x80"s, "\xF4\x90\x80\x80"s, "\x80x"s}) {
        EXPECT_EQ(print(Value("a\n\xC3\xA9" + end)), "\"a\\n\xC3\xA9\"") << end;
    }
    EXPECT_EQ(print(Value("")), "\"\"");
}

}  // namespace
