#include "Clipboard/ClipboardItem.h"

#include <gtest/gtest.h>

namespace zeph {

TEST(ClipboardItem, ClassifiesByTheFirstRuleThatFits)
{
    struct Case {
        const char* text;
        ClipboardKind kind;
    };
    using enum ClipboardKind;
    const Case cases[] = {
        { "#abc", colour },
        { "#AABBCC", colour },
        { "#AABBCCDD", colour },
        { "  #abc \n", colour },
        { "#ABCDE", text },
        { "#ggg", text },
        { "#abcd", text },
        { "# abc", text },
        { "RGB(1,2,3)", colour },
        { "rgba(1, 2, 3, 0.5)", colour },
        { "hsl()", colour },
        { "Hsla(1\n2)", colour },
        { "rgb(1,2,3", text },
        { "rgb(1,2,3))", text },
        { "rgb(1,2,3) ", colour },
        { "cmyk(1,2,3,4)", text },
        { "https://example.org/a?b=c", link },
        { "HTTP://X", link },
        { "ftp:/x", link },
        { "mailto://x", link },
        { "file:///etc/hosts", link },
        { "ssh://host", link },
        { "mailto:x", text },
        { "https://b c", text },
        { "https://b\u00A0c", text },
        { "https://", link },
        { "gopher://x", text },
        { "git status", code },
        { "gitter", text },
        { "./run", code },
        { "$ ls -l", code },
        { "python3 -m http.server", code },
        { "a;b", text },
        { "\n\n  git status\n\n", code },
        { "{\n}", code },
        { "one\ntwo", text },
        { "return x\nfoo", code },
        { "first line\nsecond line;", code },
        { "a\r\nb()", code },
        { "const x", text },
        { "", text },
        { " \n\t ", text },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(ClipboardItem::classify(testCase.text), testCase.kind);
    }
}

TEST(ClipboardItem, FirstLineStopsAtTheFirstBreakAndTrimsSpaces)
{
    struct Case {
        const char* text;
        const char* firstLine;
    };
    const Case cases[] = {
        { "  hello  \nworld", "hello" },
        { "\tone\t", "one" },
        { "a\r\nb", "a" },
        { "\nlater", "" },
        { "\u3000wide\u3000", "wide" },
        { "no break", "no break" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ((ClipboardItem { .text = testCase.text }.firstLine()), testCase.firstLine);
    }
}

TEST(ClipboardItem, DecodingIsStrictAboutRequiredKeysAndTypes)
{
    auto valid = Json::parse(R"({"id":"A","kind":"image","text":"Image 2 × 3","imageFile":"A.png",
        "sourceApp":"GIMP","sourceBundleID":null,"date":"2026-11-13T05:11:39Z","pinned":true})")
                     .value();
    auto item = clipboardItemFromJSON(valid).value();
    EXPECT_EQ(item.kind, ClipboardKind::image);
    EXPECT_EQ(item.imageFile, "A.png");
    EXPECT_EQ(item.sourceBundleID, std::nullopt);
    EXPECT_EQ(clipboardItemFromJSON(toJSON(item)).value(), item);
    EXPECT_FALSE(toJSON(item).contains("sourceBundleID"));

    for (auto* key : { "id", "kind", "text", "date", "pinned" }) {
        SCOPED_TRACE(key);
        auto missing = valid;
        missing.erase(key);
        auto decoded = clipboardItemFromJSON(missing);
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().message, std::string("\"") + key + "\" is missing.");
    }
    const std::pair<const char*, Json::Value> wrong[] = {
        { "pinned", "true" },
        { "kind", "picture" },
        { "date", "yesterday" },
        { "date", 1763010699 },
        { "imageFile", false },
        { "text", nullptr },
    };
    for (auto& [key, value] : wrong) {
        SCOPED_TRACE(key);
        auto changed = valid;
        changed[key] = value;
        EXPECT_FALSE(clipboardItemFromJSON(changed));
    }
}

} // namespace zeph
