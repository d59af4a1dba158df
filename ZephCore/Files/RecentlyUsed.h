#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zeph {

// The desktop's list of recently used files ("recently-used.xbel"): each local file it names, with
// the last moment (seconds since the epoch) it was added, changed or visited there.
using RecentlyUsed = std::unordered_map<std::string, std::int64_t>;

// The list in `text`; a document that is not one yields nothing.
RecentlyUsed parseRecentlyUsed(std::string_view text);
// The list in `file`; a file that is missing or unreadable yields nothing.
RecentlyUsed readRecentlyUsed(const std::filesystem::path& file);

// Where the desktop keeps it: "$XDG_DATA_HOME/recently-used.xbel" when that is absolute, else
// "~/.local/share/recently-used.xbel".
std::filesystem::path recentlyUsedFile(std::string_view home, std::string_view xdgDataHome = {});

} // namespace zeph
