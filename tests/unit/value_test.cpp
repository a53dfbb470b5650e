#include "data/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

namespace {

using data::nullValue;
using data::Value;
using data::ValueType;

TEST(ValueTest, LookupsChainAndNeverCreate) {
    Value tree(ValueType::Object);
    tree.set("top", Value(ValueType::Object)).set("section", Value(ValueType::Object)).set("key", "text");
    EXPECT_EQ(tree.find("top", "section", "key").text, "text");
    EXPECT_EQ(&tree.find("top", "none", "key"), &nullValue);
    EXPECT_EQ(&tree.find("none"), &nullValue);
    EXPECT_EQ(&Value("text").find("key"), &nullValue);
    EXPECT_EQ(tree.members.size(), 1U);
    EXPECT_TRUE(nullValue.attributes->empty() && nullValue.comment->empty());
    tree.type = ValueType::String;
    EXPECT_EQ(&tree.find("top"), &nullValue) << "what was left over from another tag isn't seen";
}

TEST(ValueTest, TellsEmptyAndPrints) {
    for (const ValueType type : {ValueType::Null, ValueType::String, ValueType::Array, ValueType::Object}) {
        EXPECT_TRUE(Value(type).isEmpty());
        EXPECT_EQ(Value(type).toText(), "");
    }
    for (const auto& [value, text] : {std::pair{Value(INT64_MIN), "-9223372036854775808"},
                                      {Value(1234567.0), "1.23457e+06"},
                                      {Value(0.1), "0.1"},
                                      {Value(0.0), "0"},
                                      {Value(100000.0), "100000"},
                                      {Value(-0.00001234), "-1.234e-05"},
                                      {Value(HUGE_VAL), "inf"},
                                      {Value(false), "false"}}) {
        EXPECT_EQ(value.toText(), text);
        EXPECT_FALSE(value.isEmpty());
    }
    Value object(ValueType::Object);
    object.set("empty", "");
    EXPECT_TRUE(object.hasString("empty") && !object.hasString("none"));
}

TEST(ValueTest, CopiesAreDeepAndPartsCanReplaceTheWhole) {
    Value tree(ValueType::Object);
    tree.set("b", Value(ValueType::Array)).append("item");
    tree.member("b").comment.make() = "note";
    tree.member("b").attributes.make()["x"] = "1";
    Value copy = tree;
    copy.member("b").items.front().text = "changed";
    copy.member("b").attributes.make()["x"] = "2";
    EXPECT_EQ(tree.find("b").items.front().text, "item");
    EXPECT_EQ(tree.find("b").attributes->at("x"), "1");
    EXPECT_EQ(*copy.find("b").comment, "note");

    Value moved = std::move(copy);
    EXPECT_EQ(copy.text, "");
    moved = moved.find("b");
    EXPECT_EQ(moved.items.front().text, "changed");
    moved = std::move(moved.items.front());
    EXPECT_EQ(moved.text, "changed");
    moved = Value(moved);
    EXPECT_EQ(moved.text, "changed");
}

// On a thread, whose stack is the smaller one.
TEST(ValueTest, DepthCostsNoStack) {
    std::thread([] {
        Value deep(ValueType::Object);
        Value* node = &deep;
        for (int i = 0; i < 300'000; ++i) {
            node = i % 2 == 0 ? &node->set("a", Value(ValueType::Array)) : &node->append(Value(ValueType::Object));
        }
        Value copy = deep;
        copy = deep;
        deep = Value(1);
        EXPECT_TRUE(copy.find("a").type == ValueType::Array);
    }).join();
}

}  // namespace
