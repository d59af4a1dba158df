#include "Storage/KeyCombo.h"

#include <gtest/gtest.h>

namespace zeph {

namespace {

using Modifiers = KeyCombo::Modifiers;

constexpr Modifiers none {};

} // namespace

TEST(KeyCombo, ParsesPiecesJoinedByPlusInAnyOrderAndCase)
{
    struct Case {
        const char* text;
        std::optional<KeyCombo> combo;
    };
    const KeyCombo commandShiftK { .keyCode = 40,
        .modifiers = Modifiers::command | Modifiers::shift };
    const Case cases[] = {
        { "cmd+shift+k", commandShiftK },
        { "Shift + Cmd + K", commandShiftK },
        { "⇧+⌘+k", commandShiftK },
        { "command+shift+shift+k", commandShiftK },
        { "k+cmd+shift", commandShiftK },
        { "cmd++shift+k+", commandShiftK },
        { "escape", KeyCombo { .keyCode = 53 } },
        { "esc", KeyCombo { .keyCode = 53 } },
        { "Esc", KeyCombo { .keyCode = 53 } },
        { "f5", KeyCombo { .keyCode = 96 } },
        { "alt+left", KeyCombo { .keyCode = 123, .modifiers = Modifiers::option } },
        { "opt+←", KeyCombo { .keyCode = 123, .modifiers = Modifiers::option } },
        { "ctrl+page down", KeyCombo { .keyCode = 121, .modifiers = Modifiers::control } },
        { "control+option+backspace",
            KeyCombo { .keyCode = 51, .modifiers = Modifiers::control | Modifiers::option } },
        { "⌃+⌥+enter",
            KeyCombo { .keyCode = 36, .modifiers = Modifiers::control | Modifiers::option } },
        { "cmd+\\", KeyCombo { .keyCode = 42, .modifiers = Modifiers::command } },
        { "cmd+,", KeyCombo { .keyCode = 43, .modifiers = Modifiers::command } },
        // Failures: glyphs without "+", two keys, no key, unknown names, a literal plus.
        { "⇧⌘k", std::nullopt },
        { "cmd+a+b", std::nullopt },
        { "cmd", std::nullopt },
        { "cmd+shift", std::nullopt },
        { "", std::nullopt },
        { "  +  ", std::nullopt },
        { "cmd+plus", std::nullopt },
        { "cmd++", std::nullopt },
        { "cmd+key 200", std::nullopt },
        { "hyper+k", std::nullopt },
        { "cmd+\xff", std::nullopt },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(KeyCombo::parse(testCase.text), testCase.combo);
    }
}

TEST(KeyCombo, ShowsGlyphsAndTextInTheirFixedOrder)
{
    struct Case {
        KeyCombo combo;
        const char* display;
        const char* text;
    };
    const Modifiers all
        = Modifiers::command | Modifiers::option | Modifiers::control | Modifiers::shift;
    const Case cases[] = {
        { { .keyCode = 49, .modifiers = Modifiers::option }, "⌥Space", "opt+space" },
        { { .keyCode = 40, .modifiers = Modifiers::control | Modifiers::shift }, "⌃⇧K",
            "ctrl+shift+k" },
        { { .keyCode = 0, .modifiers = all }, "⌃⌥⇧⌘A", "ctrl+opt+shift+cmd+a" },
        { { .keyCode = 123, .modifiers = Modifiers::option }, "⌥←", "opt+←" },
        { { .keyCode = 116, .modifiers = none }, "Page Up", "page up" },
        { { .keyCode = 200, .modifiers = Modifiers::command }, "⌘Key 200", "cmd+key 200" },
        // Bits that are no modifier of ours are kept but not shown.
        { { .keyCode = 96, .modifiers = { 16 } }, "F5", "f5" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(testCase.combo.displayString(), testCase.display);
        EXPECT_EQ(testCase.combo.textForm(), testCase.text);
    }
}

TEST(KeyCombo, EveryNamedKeyReadsBackFromItsTextForm)
{
    std::size_t named = 0;
    for (std::uint32_t code = 0; code < 256; ++code) {
        if (KeyCode::name(code).starts_with("Key "))
            continue;
        ++named;
        for (auto modifiers : { none, Modifiers::shift, Modifiers::command | Modifiers::control }) {
            KeyCombo combo { .keyCode = code, .modifiers = modifiers };
            SCOPED_TRACE(combo.textForm());
            EXPECT_EQ(KeyCombo::parse(combo.textForm()), combo);
        }
    }
    EXPECT_EQ(named, KeyCode::nameCount);
    EXPECT_EQ(KeyCode::name(999), "Key 999");
}

TEST(KeyCombo, IsValidWithAModifierOrAFunctionKey)
{
    EXPECT_FALSE(KeyCombo::parse("escape")->isValid());
    EXPECT_FALSE(KeyCombo::parse("a")->isValid());
    EXPECT_TRUE(KeyCombo::parse("f5")->isValid());
    EXPECT_TRUE(KeyCombo::parse("F20")->isValid());
    EXPECT_TRUE(KeyCombo::parse("shift+a")->isValid());
    std::size_t functionKeys = 0;
    for (std::uint32_t code = 0; code < 256; ++code)
        functionKeys += KeyCode::isFunctionKey(code);
    EXPECT_EQ(functionKeys, 20u);
}

TEST(KeyCombo, JSONNeedsBothKeysAsUnsignedWholeNumbers)
{
    KeyCombo combo { .keyCode = 49, .modifiers = Modifiers::option };
    EXPECT_EQ(toJSON(combo), Json::parse(R"({"keyCode":49,"modifiers":2})"));
    EXPECT_EQ(keyComboFromJSON(toJSON(combo)).value(), combo);
    const char* failures[] = {
        R"({"keyCode":49})",
        R"({"modifiers":2})",
        R"({"keyCode":"49","modifiers":2})",
        R"({"keyCode":49,"modifiers":-1})",
        R"({"keyCode":4294967296,"modifiers":2})",
        R"({"keyCode":49.5,"modifiers":2})",
        R"({"keyCode":null,"modifiers":2})",
        R"([49,2])",
    };
    for (auto* text : failures) {
        SCOPED_TRACE(text);
        auto decoded = keyComboFromJSON(*Json::parse(text));
        ASSERT_FALSE(decoded);
        EXPECT_FALSE(decoded.error().message.empty());
    }
}

} // namespace zeph
