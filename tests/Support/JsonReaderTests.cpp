#include "Support/Json.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using Json::Value;

// The reader must accept and build exactly what the general parser does, so each case is checked
// against it as well as against the expected value.
std::optional<Value> reference(std::string_view text)
{
    auto value = Value::parse(text, nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded())
        return std::nullopt;
    return value;
}

void expectSameAsReference(std::string_view text)
{
    auto ours = Json::parse(text);
    auto theirs = reference(text);
    ASSERT_EQ(ours.has_value(), theirs.has_value()) << text;
    if (ours) {
        EXPECT_EQ(ours->dump(), theirs->dump()) << text;
        EXPECT_EQ(ours->type(), theirs->type()) << text;
    }
}

TEST(JsonReader, ReadsValuesOfEveryType)
{
    auto value = Json::parse(
        R"({"b": true, "n": null, "s": "x\u00e9\ud83d\ude00\n", "a": [1, -2, 2.5e3, 0, -0], "o": {}})");
    ASSERT_TRUE(value);
    EXPECT_EQ((*value)["s"], "x\xC3\xA9\xF0\x9F\x98\x80\n");
    EXPECT_TRUE((*value)["a"][0].is_number_unsigned());
    EXPECT_TRUE((*value)["a"][1].is_number_integer());
    EXPECT_FALSE((*value)["a"][1].is_number_unsigned());
    EXPECT_TRUE((*value)["a"][2].is_number_float());
    EXPECT_EQ((*value)["a"][2], 2500.0);
    EXPECT_TRUE((*value)["o"].is_object());
}

const char* const texts[] = {
    "",
    " ",
    "\xEF\xBB\xBF{}",
    "\xEF\xBB{}",
    "{}\0junk",
    "\0",
    "[1,]",
    "[,1]",
    "{,}",
    "{\"a\" 1}",
    "{\"a\":}",
    "{\"a\":1,}",
    "[01]",
    "-",
    "-0",
    "1.",
    ".5",
    "1e",
    "1e+",
    "1E-2",
    "[1 2]",
    "18446744073709551615",
    "18446744073709551616",
    "-9223372036854775808",
    "-9223372036854775809",
    "1e999",
    "-1e999",
    "1e-999",
    "\"\\ud800\"",
    "\"\\udc00\"",
    "\"\\ud800\\u0041\"",
    "\"\\u00zz\"",
    "\"\\x\"",
    "\"a\tb\"",
    "\"\xC0\xAF\"",
    "\"\xED\xA0\x80\"",
    "\"\xF4\x90\x80\x80\"",
    "\"\xE2\x82\"",
    "\"\\u0000\"",
    "{\"k\":1,\"k\":2}",
    "{\"b\":1,\"a\":[2,{\"c\":3}]}",
    "truex",
    "nul",
    "[true,false,null]",
    "  \t\r\n[ ] ",
    "\"unterminated",
    "[[[[]]]]",
    "{\"a\":[}",
    "[\"\xE2\x82\xAC\"]",
    "1 1",
    "[1] x",
    "[1]\0junk",
    "\xEF\xBB\xBF [ {\"a\": [1, {}]}, [], \"s\" ] ",
    "[{\"a\": 1},]",
    "[{\"a\": 1} {}]",
    "[{\"a\": [1}]",
    "[",
    "[1",
    "[1,",
};

TEST(JsonReader, AgreesWithTheGeneralParser)
{
    for (std::string_view text : texts)
        expectSameAsReference(text);
    expectSameAsReference(std::string_view("{}\0junk", 7));
    expectSameAsReference(std::string_view("[1\0]", 4));
}

// Element by element, an array reads as the whole reader reads it, and anything else is refused.
// Each element's text is its bytes alone, without the space or commas around it.
TEST(JsonReader, ReadsAnArrayElementByElementAsWhole)
{
    for (std::string_view text : texts) {
        SCOPED_TRACE(text);
        auto whole = Json::parse(text);
        Value elements = Value::array();
        bool isArray = Json::parseEach(text, [&](Value&& element, std::string_view elementText) {
            EXPECT_EQ(Json::parse(elementText), element);
            EXPECT_FALSE(elementText.starts_with(' ') || elementText.ends_with(' '));
            elements.push_back(std::move(element));
        });
        ASSERT_EQ(isArray, whole && whole->is_array());
        if (isArray) {
            EXPECT_EQ(elements, *whole);
        }
    }
    std::vector<std::string_view> elementTexts;
    Json::parseEach(" [ {\"a\": [1, 2]} ,\n\"s\",3.5e1]",
        [&](Value&&, std::string_view elementText) { elementTexts.push_back(elementText); });
    EXPECT_EQ(
        elementTexts, (std::vector<std::string_view> { "{\"a\": [1, 2]}", "\"s\"", "3.5e1" }));
}

// Elements known from an earlier reading are found by their bytes, in the old order first and then
// anywhere, once each; a longer number or a bare prefix is not the element it begins with.
TEST(JsonReader, KnowsElementsReadBefore)
{
    std::vector<std::string> elements { "1", "{\"a\": 2}", "\"s\"", "\"s\"" };
    Json::KnownElements known(elements);
    EXPECT_EQ(known.atStart("12, 1]"), std::nullopt);
    EXPECT_EQ(known.atStart("1.5]"), std::nullopt);
    EXPECT_EQ(known.atStart("1 ,{\"a\": 2}]"), 0u);
    EXPECT_EQ(known.atStart("1]"), std::nullopt);
    EXPECT_EQ(known.atStart("{\"a\":2}]"), std::nullopt);
    EXPECT_EQ(known.find("\"s\""), 2u);
    EXPECT_EQ(known.atStart("\"s\"]"), 3u);
    EXPECT_EQ(known.find("\"s\""), std::nullopt);
    EXPECT_EQ(known.find("{\"a\": 2}"), 1u);
    EXPECT_EQ(known.atStart("{\"a\": 2}"), std::nullopt);

    // Passed over, a known element still needs its comma, and the array its end.
    for (std::string_view text : { "[1 {\"a\": 2}]", "[1, {\"a\": 2}", "[{\"a\": 2}, 1, ]" }) {
        Json::KnownElements again(elements);
        EXPECT_FALSE(Json::parseEach(
            text, [](Value&&, std::string_view) {},
            [&](std::string_view rest) -> std::size_t {
                auto index = again.atStart(rest);
                return index ? elements[*index].size() : 0;
            }))
            << text;
    }
}

TEST(JsonReader, NestsDeeplyWithoutRecursion)
{
    std::string text(200'000, '[');
    text.append(200'000, ']');
    auto value = Json::parse(text);
    ASSERT_TRUE(value);
    std::string open(200'000, '[');
    EXPECT_FALSE(Json::parse(open));
    // Letting the deep value go must not recurse either.
    value.reset();
}

} // namespace
