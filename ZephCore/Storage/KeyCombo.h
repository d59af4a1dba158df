#pragma once

#include "Support/Json.h"
#include "Support/Result.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zeph {

// The tables of key names over the virtual key codes that stored combos keep.
namespace KeyCode {

inline constexpr std::size_t nameCount = 81;
// The keys the application itself answers, types or watches.
inline constexpr std::uint32_t vKey = 9, returnKey = 36, tabKey = 48, deleteKey = 51,
                               escapeKey = 53, enterKey = 76, homeKey = 115, pageUpKey = 116,
                               forwardDeleteKey = 117, endKey = 119, pageDownKey = 121,
                               leftArrowKey = 123, rightArrowKey = 124, downArrowKey = 125,
                               upArrowKey = 126;

// The table's name, or "Key " and the code in decimal for a code it does not know.
std::string name(std::uint32_t code);
// Case-insensitive: the aliases ("esc", "enter", "left", …) first, then the names.
std::optional<std::uint32_t> code(std::string_view name);
bool isFunctionKey(std::uint32_t code);

} // namespace KeyCode

// A keyboard shortcut: a virtual key code and a modifier set of the program's own.
struct KeyCombo {
    // Bits of the program's own, not the platform's: stored combos keep them.
    struct Modifiers {
        std::uint32_t rawValue = 0;

        static const Modifiers command;
        static const Modifiers option;
        static const Modifiers control;
        static const Modifiers shift;

        constexpr bool contains(Modifiers other) const
        {
            return (rawValue & other.rawValue) == other.rawValue;
        }
        constexpr bool isEmpty() const { return rawValue == 0; }
        constexpr Modifiers operator|(Modifiers other) const
        {
            return { rawValue | other.rawValue };
        }
        constexpr Modifiers& operator|=(Modifiers other)
        {
            rawValue |= other.rawValue;
            return *this;
        }
        bool operator==(const Modifiers&) const = default;
    };

    std::uint32_t keyCode = 0;
    Modifiers modifiers {};
    bool operator==(const KeyCombo&) const = default;

    // At least one modifier, or a function key: a bare letter is no global shortcut, a bare F5 is.
    bool isValid() const;
    // The modifier glyphs in the order ⌃ ⌥ ⇧ ⌘, then the key's name: "⌥Space", "⌃⇧K".
    std::string displayString() const;
    // "ctrl+opt+shift+cmd+" as present, then the key's name in lower case: "opt+space". A key
    // without a name gives "key 200", which does not parse back.
    std::string textForm() const;
    // Reads "cmd+shift+k", "Shift + Cmd + K" or "⇧+⌘+k"; nothing for text that names no single
    // known key. Whether the combo is valid is for the caller to check.
    static std::optional<KeyCombo> parse(std::string_view text);
};

inline constexpr KeyCombo::Modifiers KeyCombo::Modifiers::command { 1 };
inline constexpr KeyCombo::Modifiers KeyCombo::Modifiers::option { 2 };
inline constexpr KeyCombo::Modifiers KeyCombo::Modifiers::control { 4 };
inline constexpr KeyCombo::Modifiers KeyCombo::Modifiers::shift { 8 };

// Strict: both keys are required.
Json::Value toJSON(const KeyCombo& combo);
Result<KeyCombo> keyComboFromJSON(const Json::Value& json);

} // namespace zeph

template <> struct std::hash<zeph::KeyCombo> {
    std::size_t operator()(const zeph::KeyCombo& combo) const noexcept
    {
        return std::hash<std::uint64_t> {}(
            (std::uint64_t { combo.keyCode } << 32) | combo.modifiers.rawValue);
    }
};
