#include "Storage/KeyCombo.h"

#include "Support/Text.h"

#include <array>
#include <utility>

namespace zeph {

namespace {

using KeyName = std::pair<std::uint32_t, std::string_view>;

constexpr auto keyNames = std::to_array<KeyName>({
    // Letters.
    { 0, "A" },
    { 1, "S" },
    { 2, "D" },
    { 3, "F" },
    { 4, "H" },
    { 5, "G" },
    { 6, "Z" },
    { 7, "X" },
    { 8, "C" },
    { 9, "V" },
    { 11, "B" },
    { 12, "Q" },
    { 13, "W" },
    { 14, "E" },
    { 15, "R" },
    { 16, "Y" },
    { 17, "T" },
    { 31, "O" },
    { 32, "U" },
    { 34, "I" },
    { 35, "P" },
    { 37, "L" },
    { 38, "J" },
    { 40, "K" },
    { 45, "N" },
    { 46, "M" },
    // Digits.
    { 18, "1" },
    { 19, "2" },
    { 20, "3" },
    { 21, "4" },
    { 22, "6" },
    { 23, "5" },
    { 25, "9" },
    { 26, "7" },
    { 28, "8" },
    { 29, "0" },
    // Punctuation.
    { 24, "=" },
    { 27, "-" },
    { 30, "]" },
    { 33, "[" },
    { 39, "'" },
    { 41, ";" },
    { 42, "\\" },
    { 43, "," },
    { 44, "/" },
    { 47, "." },
    { 50, "`" },
    // Named keys.
    { 36, "Return" },
    { 48, "Tab" },
    { 49, "Space" },
    { 51, "Delete" },
    { 53, "Esc" },
    { 117, "⌦" },
    { 115, "Home" },
    { 119, "End" },
    { 116, "Page Up" },
    { 121, "Page Down" },
    // Arrows.
    { 123, "←" },
    { 124, "→" },
    { 125, "↓" },
    { 126, "↑" },
    // Function keys.
    { 122, "F1" },
    { 120, "F2" },
    { 99, "F3" },
    { 118, "F4" },
    { 96, "F5" },
    { 97, "F6" },
    { 98, "F7" },
    { 100, "F8" },
    { 101, "F9" },
    { 109, "F10" },
    { 103, "F11" },
    { 111, "F12" },
    { 105, "F13" },
    { 107, "F14" },
    { 113, "F15" },
    { 106, "F16" },
    { 64, "F17" },
    { 79, "F18" },
    { 80, "F19" },
    { 90, "F20" },
});
static_assert(keyNames.size() == KeyCode::nameCount);

constexpr auto aliases = std::to_array<KeyName>({
    { 53, "esc" },
    { 53, "escape" },
    { 36, "enter" },
    { 36, "return" },
    { 49, "space" },
    { 48, "tab" },
    { 51, "delete" },
    { 51, "backspace" },
    { 126, "up" },
    { 125, "down" },
    { 123, "left" },
    { 124, "right" },
});

// The function keys are the last twenty entries of the names table.
constexpr std::size_t firstFunctionKey = KeyCode::nameCount - 20;

struct ModifierWords {
    KeyCombo::Modifiers modifier {};
    std::array<std::string_view, 4> words {};
};

// Text form and glyph of each modifier, in the order both texts list them.
struct ModifierText {
    KeyCombo::Modifiers modifier {};
    std::string_view word {};
    std::string_view glyph {};
};
constexpr std::array modifierTexts {
    ModifierText { KeyCombo::Modifiers::control, "ctrl", "⌃" },
    ModifierText { KeyCombo::Modifiers::option, "opt", "⌥" },
    ModifierText { KeyCombo::Modifiers::shift, "shift", "⇧" },
    ModifierText { KeyCombo::Modifiers::command, "cmd", "⌘" },
};

constexpr std::array modifierWords {
    ModifierWords { KeyCombo::Modifiers::command, { "cmd", "command", "⌘" } },
    ModifierWords { KeyCombo::Modifiers::option, { "opt", "option", "alt", "⌥" } },
    ModifierWords { KeyCombo::Modifiers::control, { "ctrl", "control", "⌃" } },
    ModifierWords { KeyCombo::Modifiers::shift, { "shift", "⇧" } },
};

std::optional<KeyCombo::Modifiers> modifierNamed(std::string_view piece)
{
    for (auto& [modifier, words] : modifierWords) {
        for (auto word : words) {
            if (!word.empty() && word == piece)
                return modifier;
        }
    }
    return std::nullopt;
}

} // namespace

namespace KeyCode {

std::string name(std::uint32_t code)
{
    for (auto [candidate, keyName] : keyNames) {
        if (candidate == code)
            return std::string(keyName);
    }
    return "Key " + std::to_string(code);
}

std::optional<std::uint32_t> code(std::string_view name)
{
    if (!isValidUTF8(name))
        return std::nullopt;
    auto lowered = lowercasedText(name);
    for (auto [code, alias] : aliases) {
        if (alias == lowered)
            return code;
    }
    static const auto loweredNames = [] {
        std::array<std::string, keyNames.size()> names;
        for (std::size_t index = 0; index < keyNames.size(); ++index)
            names[index] = lowercasedText(keyNames[index].second);
        return names;
    }();
    for (std::size_t index = 0; index < keyNames.size(); ++index) {
        if (loweredNames[index] == lowered)
            return keyNames[index].first;
    }
    return std::nullopt;
}

bool isFunctionKey(std::uint32_t code)
{
    for (std::size_t index = firstFunctionKey; index < keyNames.size(); ++index) {
        if (keyNames[index].first == code)
            return true;
    }
    return false;
}

} // namespace KeyCode

bool KeyCombo::isValid() const
{
    return !modifiers.isEmpty() || KeyCode::isFunctionKey(keyCode);
}

std::string KeyCombo::displayString() const
{
    std::string text;
    for (auto& [modifier, word, glyph] : modifierTexts) {
        if (modifiers.contains(modifier))
            text += glyph;
    }
    return text + KeyCode::name(keyCode);
}

std::string KeyCombo::textForm() const
{
    std::string text;
    for (auto& [modifier, word, glyph] : modifierTexts) {
        if (modifiers.contains(modifier))
            (text += word) += '+';
    }
    return text + lowercasedText(KeyCode::name(keyCode));
}

std::optional<KeyCombo> KeyCombo::parse(std::string_view text)
{
    if (!isValidUTF8(text))
        return std::nullopt;
    auto lowered = lowercasedText(text);
    KeyCombo combo;
    bool hasKey = false;
    std::string_view rest = lowered;
    while (!rest.empty()) {
        auto plus = rest.find('+');
        auto piece = trimmedWhitespace(rest.substr(0, plus));
        rest = plus == std::string_view::npos ? std::string_view {} : rest.substr(plus + 1);
        if (piece.empty())
            continue;
        if (auto modifier = modifierNamed(piece)) {
            combo.modifiers |= *modifier;
            continue;
        }
        auto code = KeyCode::code(piece);
        if (hasKey || !code)
            return std::nullopt;
        combo.keyCode = *code;
        hasKey = true;
    }
    if (!hasKey)
        return std::nullopt;
    return combo;
}

Json::Value toJSON(const KeyCombo& combo)
{
    return { { "keyCode", combo.keyCode }, { "modifiers", combo.modifiers.rawValue } };
}

Result<KeyCombo> keyComboFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error {
            "A key combination must be a JSON object with \"keyCode\" and \"modifiers\"."
        };
    KeyCombo combo;
    if (auto error = Json::firstError({
            Json::read(json, "keyCode", combo.keyCode),
            Json::read(json, "modifiers", combo.modifiers.rawValue),
        }))
        return *error;
    return combo;
}

} // namespace zeph
