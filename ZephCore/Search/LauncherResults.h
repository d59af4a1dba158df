#pragma once

#include "Search/SearchEngine.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeph {

// A scope the user has entered; the panel shows it as a chip, and the field holds only the term.
enum class LauncherMode { files, find, contents, clipboard, snippets, google };

template <>
inline constexpr auto
    enumNames<LauncherMode> = std::to_array<std::pair<LauncherMode, std::string_view>>({
        { LauncherMode::files, "files" },
        { LauncherMode::find, "find" },
        { LauncherMode::contents, "contents" },
        { LauncherMode::clipboard, "clipboard" },
        { LauncherMode::snippets, "snippets" },
        { LauncherMode::google, "google" },
    });
static_assert(isCompleteEnumTable<LauncherMode>());

std::string_view title(LauncherMode mode);
std::string_view symbolName(LauncherMode mode);
std::string_view placeholder(std::optional<LauncherMode> mode);
// The mode that the typed text enters, and the text after its prefix.
std::optional<std::pair<LauncherMode, std::string>> detectMode(std::string_view text);

struct ResultSection {
    std::string title {};
    std::optional<std::string> hint {};
    std::vector<RankedResult> results {};
    bool operator==(const ResultSection&) const = default;
};

struct FileSearchRequest {
    std::string term {};
    bool contents = false; // Inside the files rather than their names.
    int limit = 0;
    bool operator==(const FileSearchRequest&) const = default;

    // The query text for the file searcher: each word must start a word of the text.
    std::string contentPredicate() const;
};

// Each space-separated word of `term` as a case-, diacritic- and word-insensitive prefix test of
// `attribute`, the tests joined with " && ".
std::string wordsPredicate(std::string_view attribute, std::string_view term);

// Everything the panel shows for one keystroke.
struct LauncherResults {
    std::vector<ResultSection> sections {};
    std::optional<LauncherMode> mode {};
    std::string term {};
    std::optional<NavigationQuery> navigation {};
    SearchResponse::Special special = std::monostate {};
    std::optional<FileSearchRequest> fileSearch {};
    bool isEmptyQuery = false;
    bool isCalculation = false;

    static LauncherResults build(
        std::string_view text, std::optional<LauncherMode> mode, const SearchEngine& engine);
    // Folds in what a file search found.
    LauncherResults mergingFiles(std::vector<SearchItem> items, const SearchEngine& engine) const;
};

Json::Value toJSON(const LauncherResults& results);

// A row that tells the user something in place of a result; choosing it does nothing.
SearchItem infoRow(
    std::string_view name, std::string title, std::string subtitle, std::string symbolName);

} // namespace zeph
