#pragma once

#include "Storage/KeyCombo.h"

#include <cstdint>
#include <optional>
#include <string>

namespace zeph::KeyTable {

// The stored combos' virtual key codes on X11 and in Qt: one row for every key of the names table.
std::optional<std::uint32_t> x11KeySym(std::uint32_t keyCode);
std::optional<std::uint32_t> keyCodeForQtKey(int qtKey);
std::optional<std::uint32_t> keyCodeForX11KeySym(std::uint32_t keySym);

// What the user reads, in Linux words: "Alt+Space", "Ctrl+Shift+K". Control is Ctrl, option Alt,
// command Super, in the order Ctrl, Alt, Shift, Super.
std::string displayText(const KeyCombo& combo);
// The same in the desktop portal's trigger form: "CTRL+ALT+SHIFT+LOGO+" and the key's XKB name
// ("ALT+space", "CTRL+SHIFT+k"); empty for a key without a name.
std::string portalTrigger(const KeyCombo& combo);

} // namespace zeph::KeyTable
