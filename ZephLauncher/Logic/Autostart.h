#pragma once

#include "Support/Result.h"

#include <filesystem>
#include <optional>
#include <string>

namespace zeph::Autostart {

// The entry in the desktop's autostart folder that starts the application at login, as the
// "launchAtLogin" setting asks.
inline constexpr const char* entryName = "zeph-launcher.desktop";

// "$XDG_CONFIG_HOME/autostart", else "~/.config/autostart".
std::filesystem::path folder(const std::string& home);
// Writes the entry, starting `executable`, or removes it; an entry that is already as wanted is
// left alone.
std::optional<Error> apply(
    bool isEnabled, const std::filesystem::path& folder, const std::filesystem::path& executable);
std::string entryText(const std::filesystem::path& executable);

} // namespace zeph::Autostart
