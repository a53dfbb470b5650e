#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "data/xml_value.h"
#include "temp_directory.h"

namespace {

using data::Value;
using data::ValueType;
using namespace std::string_literals;

Value parse(const std::string& text) { return data::parseXml(text.data(), text.size()); }
bool fails(const std::string& text) { return parse(text).type == ValueType::Null; }
std::string textOfA(const std::string& text) { return parse(text).find("a").toText(); }

// The units of the text, each `width` bytes wide.
std::string wide(const std::u32string& text, int width, bool bigEndian) {
    std::string bytes;
    for (const char32_t unit : text) {
        for (int i = 0; i < width; ++i) {
            const int shift = 8 * (bigEndian ? width - 1 - i : i);
            bytes += static_cast<char>((unit >> shift) & 0xFFU);
        }
    }
    return bytes;
}

TEST(XmlTest, ElementsBecomeStringsObjectsAndArrays) {
    const Value tree = parse("<config><a x=\"1\">t</a><a>u</a><b/><a>v</a></config>");
    const Value& config = tree.find("config");
    ASSERT_EQ(config.find("a").type, ValueType::Array);
    const auto& items = config.find("a").items;
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items.front().text, "t");
    EXPECT_EQ(items.front().attributes->at("x"), "1");
    EXPECT_EQ(items.back().text, "v");
    EXPECT_TRUE(config.hasString("b"));
    EXPECT_EQ(tree.type, ValueType::Object);

    const Value mixed = parse("<p:a> x <b>1<c/>2</b> y\n</p:a>");
    EXPECT_EQ(mixed.find("p:a").text, " x  y\n");
    EXPECT_EQ(mixed.find("p:a", "b").text, "12");
    EXPECT_TRUE(mixed.find("p:a", "b").isObject());
}

TEST(XmlTest, TextIsTheWholeContent) {
    EXPECT_EQ(textOfA("<a> 1<!-- c -->2<?p i?><![CDATA[<&>]]>&lt;&gt;&amp;&quot;&apos;&#65;&#x1F600;\r\n</a>"),
              " 12<&><>&\"'A\xF0\x9F\x98\x80\n");
    EXPECT_EQ(textOfA("<!DOCTYPE a [<!ENTITY e 'in &#38;#38; out'>]><a>&e;!</a>"), "in & out!");
    EXPECT_EQ(textOfA("<!DOCTYPE a [<!ELEMENT a (b)><!ATTLIST a d CDATA 'v'>]><a> <b/> </a>"), "  ");
}

TEST(XmlTest, ReadsAllEncodings) {
    const std::string expected = "\xC3\xA9\xE2\x82\xAC";
    EXPECT_EQ(textOfA("<a>" + expected + "</a>"), expected);
    EXPECT_EQ(textOfA("<a>plain text " + expected + " and more of it</a>"),
              "plain text " + expected + " and more of it");
    EXPECT_EQ(textOfA("\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><a>" + expected + "</a>"), expected);
    EXPECT_EQ(textOfA("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>"), "\xC3\xA9");
    struct Wide {
        int width;
        std::u32string name;
    };
    for (const auto& [width, name] : {Wide{2, U"UTF-16"}, Wide{4, U"ISO-10646-UCS-4"}}) {
        for (const bool bigEndian : {false, true}) {
            for (const std::u32string& mark : {U""s, U"\xFEFF"s}) {
                for (const std::u32string& declaration :
                     {U""s, U"<?xml version='1.0'?>"s, U"<?xml version=\"1.0\" encoding='" + name + U"'?>\r\n"}) {
                    EXPECT_EQ(textOfA(wide(mark + declaration + U"<a>\u00E9\u20AC</a>", width, bigEndian)), expected)
                        << width << bigEndian << mark.size() << ' ' << declaration.size();
                }
            }
        }
    }
}

TEST(XmlTest, ContradictingEncodingIsAnError) {
    const auto declared = [](const char32_t* encoding) {
        return U"<?xml version='1.0' encoding='"s + encoding + U"'?><a/>";
    };
    struct Row {
        const char32_t* encoding;
        int width;
        bool hasMark;
    };
    for (const auto& [encoding, width, hasMark] :
         {Row{U"UTF-8", 2, false}, Row{U"UTF-8", 2, true}, Row{U"UTF-8", 4, false}, Row{U"ISO-10646-UCS-4", 2, false},
          Row{U"UTF-16", 4, false}, Row{U"ISO-8859-1", 2, true}, Row{U"UTF-16", 1, false},
          Row{U"ISO-10646-UCS-4", 1, false}, Row{U"no-such-encoding", 1, false}, Row{U"IBM037", 1, false}}) {
        for (const bool bigEndian : {false, true}) {
            EXPECT_TRUE(fails(wide((hasMark ? U"\xFEFF" : U"") + declared(encoding), width, bigEndian))) << width;
        }
    }
    for (const char* const encoding : {"ISO-8859-1", "UTF-16"}) {
        EXPECT_TRUE(fails("\xEF\xBB\xBF<?xml version='1.0' encoding='"s + encoding + "'?><a/>"));
    }
    EXPECT_FALSE(fails("\xEF\xBB\xBF<?xml version='1.0' encoding='Utf8'?><a/>"));
    EXPECT_TRUE(fails("<a>\xE9</a>"));
}

TEST(XmlTest, KnowsTwoVersions) {
    EXPECT_EQ(textOfA("<?xml version='1.1'?><a>&#1;\xC2\x85</a>"), "\x01\n");
    EXPECT_TRUE(fails("<?xml version='1.0'?><a>&#1;</a>"));
    for (const char* const version : {"1.0?", "1.01", "1.2", "2.0", "", "1.1 "}) {
        EXPECT_TRUE(fails("<?xml version='" + std::string(version) + "'?><a/>")) << version;
    }
}

TEST(XmlTest, RefusesWhatIsNotWellFormed) {
    // A document in each line, and one that is nothing.
    std::istringstream documents(R"(
 
text
<a>
<a></b>
<a/><b/>
<a/>text
text<a/>
 <?xml version='1.0'?><a/>
<a
<!DOCTYPE a [<!ENTITY e '&e;'>]><a>&e;</a>)");
    for (std::string text; std::getline(documents, text);) {
        EXPECT_TRUE(fails(text)) << text;
    }
    for (const auto& text : {"<a>\x01</a>"s, "<a>\xF0\x9F</a>"s, "<a>\0</a>"s, "<a/>\0"s, "<a/>\0<b>"s,
                             "\xFF\xFE<\0a\0/\0>\0\0\0"s, "\xFF\xFE<\0a\0/\0>\0 "s, "<a/>\xC3"s, "<a/>\xFF<b/>"s}) {
        EXPECT_TRUE(fails(text)) << text;
    }
    EXPECT_FALSE(fails("<a/><!-- \xC3\xA4 -->\n"));
    EXPECT_FALSE(fails("<undeclared:a other:b='1'/>"));
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (; times > 0; --times) {
        all += text;
    }
    return all;
}

TEST(XmlTest, BoundsWhatEntitiesAdd) {
    std::string bomb = "<!DOCTYPE a [<!ENTITY e0 'laugh'>";
    for (int i = 1; i < 12; ++i) {
        bomb += "<!ENTITY e" + std::to_string(i) + " '" + repeated("&e" + std::to_string(i - 1) + ";", 10) + "'>";
    }
    EXPECT_TRUE(fails(bomb + "]><a>&e11;</a>"));
    EXPECT_TRUE(fails(bomb + "]><a b='&e11;'/>"));
    const auto uses = [](int size, int times) {
        return "<!DOCTYPE a [<!ENTITY e '" + std::string(static_cast<std::size_t>(size), 'x') + "'>]><a>" +
               repeated("&e;", times) + "</a>";
    };
    EXPECT_TRUE(fails(uses(8'000, 1)));
    EXPECT_TRUE(fails(uses(4'000, 1'000)));
    EXPECT_EQ(textOfA(uses(4'000, 2)).size(), 8'000U);
    EXPECT_TRUE(fails("<!DOCTYPE a [<!ATTLIST b c CDATA '" + std::string(8'000, 'x') + "'>]><a>" +
                      repeated("<b/>", 1'000) + "</a>"));
}

TEST(XmlTest, OpensNothingOutside) {
    const tests::TempDirectory directory;
    directory.write("secret", "secret");
    directory.write("dtd", "<!ENTITY e 'secret'><!ATTLIST a b CDATA 'secret'>");
    const std::string secret = directory.file("secret").string();
    const std::string dtd = directory.file("dtd").string();
    const Value entity = parse("<!DOCTYPE a [<!ENTITY e SYSTEM 'file://" + secret + "'>]><a>1&e;2</a>");
    EXPECT_EQ(entity.find("a").text.find("secret"), std::string::npos);
    const Value subset = parse("<!DOCTYPE a SYSTEM '" + dtd + "'><a>x</a>");
    EXPECT_EQ(subset.find("a").text, "x");
    EXPECT_TRUE(subset.find("a").attributes->empty());
    const Value parameter = parse("<!DOCTYPE a [<!ENTITY % p SYSTEM '" + dtd + "'> %p;]><a>x</a>");
    EXPECT_TRUE(parameter.find("a").attributes->empty());
    EXPECT_FALSE(fails("<!DOCTYPE a SYSTEM 'http://127.0.0.1:9/none'><a/>"));
}

// On a thread, whose stack is the smaller one.
TEST(XmlTest, DepthCostsNoStack) {
    std::string text = repeated("<a>", 200'000) + repeated("</a>", 200'000);
    std::thread([&] {
        const Value tree = parse(text);
        Value copy = tree;
        copy = tree;
        const Value moved = std::move(copy);
        EXPECT_TRUE(moved.find("a", "a", "a").isObject());
        text.pop_back();
        EXPECT_TRUE(fails(text));
    }).join();
}

}  // namespace
