#pragma once

#include "Clipboard/ClipboardHistory.h"
#include "Search/WebSearch.h"
#include "Snippets/Snippet.h"
#include "Storage/KeyCombo.h"
#include "Support/EnumTable.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// The classes of file results, each defined by the content types that belong to it.
enum class FileCategory { folders, documents, images, pdfs, code, media, archives, other };

template <>
inline constexpr auto
    enumNames<FileCategory> = std::to_array<std::pair<FileCategory, std::string_view>>({
        { FileCategory::folders, "folders" },
        { FileCategory::documents, "documents" },
        { FileCategory::images, "images" },
        { FileCategory::pdfs, "pdfs" },
        { FileCategory::code, "code" },
        { FileCategory::media, "media" },
        { FileCategory::archives, "archives" },
        { FileCategory::other, "other" },
    });
static_assert(isCompleteEnumTable<FileCategory>());
inline constexpr auto everyFileCategory = allCases<FileCategory>();

// The name in the settings pane: "Source code & text".
std::string_view title(FileCategory category);
// The content types that make a file a member; none for `other`, which takes whatever no other
// category claims.
std::span<const std::string_view> contentTypes(FileCategory category);

// What the launcher searches. Tolerant on reading: every key may be missing.
struct SearchSettings {
    bool includeApplications = true;
    bool includeSystemSettings = true;
    bool includeSystemCommands = true;
    bool includeFiles = true;
    bool includeCalculator = true;
    // Folders of desktop entries, in precedence order: the first that holds an id wins.
    std::vector<std::string> applicationFolders = {
        "~/.local/share/applications",
        "/usr/local/share/applications",
        "/usr/share/applications",
        "~/.local/share/flatpak/exports/share/applications",
        "/var/lib/flatpak/exports/share/applications",
        "/var/lib/snapd/desktop/applications",
    };
    // Paths may start with "~" and stay so; they are expanded only when used.
    std::vector<std::string> fileScopes = { "~" };
    // Application data, our own folder included.
    std::vector<std::string> excludedPaths
        = { "~/.cache", "~/.config", "~/.local", "~/.var", "~/snap" };
    std::vector<FileCategory> fileCategories
        = std::vector<FileCategory>(everyFileCategory.begin(), everyFileCategory.end());
    std::int64_t fileResultLimit = 3;
    std::int64_t maxResults = 9;
    std::vector<WebSearch> webSearches = WebSearch::defaults();
    bool showFallbacks = true;
    bool fileNavigation = true;
    bool showHiddenFiles = false;
    bool showPreview = true;
    bool indexFileContents = true; // Whether the file index reads inside text files.
    bool operator==(const SearchSettings&) const = default;

    // Whether `path` is an excluded path or lies inside one; "~" in an entry is expanded to `home`.
    // So "~/.cache" excludes "/home/a/.cache" and "/home/a/.cache/x", never "/home/a/.cacheOld".
    bool isExcluded(std::string_view path, std::string_view home) const;
    // The same with the user's own home folder.
    bool isExcluded(std::string_view path) const;
};

// The whole of the user's preferences, "settings.json". Tolerant on reading: a file of an older or
// newer version loads, every missing key taking its default; writing emits every key.
struct AppSettings {
    KeyCombo hotkey { .keyCode = 49, .modifiers = KeyCombo::Modifiers::option }; // Alt+Space.
    std::string themeID = "liquid-glass";
    bool launchAtLogin = false;
    bool showMenuBarIcon = true;
    bool learningEnabled = true;
    double keepQuerySeconds = 0; // How long the last query survives after the panel closes.
    double verticalPosition = 0.22; // Of the panel, as a fraction of the screen's height.
    SearchSettings search {};
    SnippetSettings snippets {};
    ClipboardSettings clipboard {};
    bool hasCompletedOnboarding = false;
    bool operator==(const AppSettings&) const = default;
};

// "~" and "~/…" become the user's home folder, "~name" and "~name/…" that user's; any other text,
// and a user that does not exist, stay as they are.
std::string expandingTilde(std::string_view path);
// The same with `home` standing for the user's own home folder.
std::string expandingTilde(std::string_view path, std::string_view home);

Json::Value toJSON(const SearchSettings& settings);
Json::Value toJSON(const AppSettings& settings);
Result<SearchSettings> searchSettingsFromJSON(const Json::Value& json);
Result<AppSettings> appSettingsFromJSON(const Json::Value& json);

template <> struct DocumentCoding<AppSettings> {
    static Json::Value encode(const AppSettings& settings) { return toJSON(settings); }
    static Result<AppSettings> decode(const Json::Value& json) { return appSettingsFromJSON(json); }
};

} // namespace zeph

// Over every field, through the document form, which holds every field.
template <> struct std::hash<zeph::SearchSettings> {
    std::size_t operator()(const zeph::SearchSettings& settings) const noexcept;
};
template <> struct std::hash<zeph::AppSettings> {
    std::size_t operator()(const zeph::AppSettings& settings) const noexcept;
};
