#include "data/value.h"

#include <gtest/gtest.h>

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

}  // namespace
