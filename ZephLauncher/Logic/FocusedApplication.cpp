#include "Logic/FocusedApplication.h"

#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zeph {

namespace {

// By desktop-file id or window class, lower-cased.
constexpr std::array<std::string_view, 24> terminals { "xterm", "uxterm", "urxvt", "rxvt", "kitty",
    "alacritty", "foot", "footclient", "wezterm", "org.wezfurlong.wezterm", "gnome-terminal",
    "gnome-terminal-server", "org.gnome.terminal", "org.gnome.console", "kgx", "konsole",
    "org.kde.konsole", "xfce4-terminal", "tilix", "com.gexperts.tilix", "terminator", "st",
    "st-256color", "qterminal" };

bool isTerminalName(const std::string& name)
{
    auto lowered = lowercasedText(name);
    return std::find(terminals.begin(), terminals.end(), lowered) != terminals.end();
}

} // namespace

bool ApplicationIdentity::isTerminal() const
{
    return isTerminalName(id) || isTerminalName(windowClass);
}

} // namespace zeph
