#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// The keys of a desktop entry's main group that the launcher uses, with the localised texts in the
// user's language.
struct DesktopEntry {
    std::string name {};
    std::string genericName {};
    std::string icon {};
    std::vector<std::string> keywords {};
    std::vector<std::string> categories {};
    std::vector<std::string> onlyShowIn {};
    std::vector<std::string> notShowIn {};
    std::string tryExec {};
    bool noDisplay = false;
    // The entry was deleted: it hides every entry of the same id in folders of lower precedence.
    bool hidden = false;
    bool operator==(const DesktopEntry&) const = default;

    // Reads an application entry. Nothing for text that is no key file, another type of entry, or
    // an entry without a name; a hidden entry needs no name.
    static std::optional<DesktopEntry> read(std::string_view text);

    // Whether the entry belongs in one of the current desktops ("GNOME", "KDE", …).
    bool isShownIn(std::span<const std::string> currentDesktops) const;
    bool isSettingsPanel() const;
};

// The desktops named by XDG_CURRENT_DESKTOP.
std::vector<std::string> currentDesktops();

} // namespace zeph
