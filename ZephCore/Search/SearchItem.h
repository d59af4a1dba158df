#pragma once

#include "Search/MatchText.h"
#include "Support/EnumTable.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <optional>
#include <string>
#include <vector>

namespace zeph {

enum class ItemKind {
    application,
    systemSetting,
    folder,
    file,
    calculator,
    webSearch,
    systemCommand,
    workflow,
    snippet,
    clipboard,
    action,
};

template<>
inline constexpr auto enumNames<ItemKind> = std::to_array<std::pair<ItemKind, std::string_view>>({
    { ItemKind::application, "application" },
    { ItemKind::systemSetting, "systemSetting" },
    { ItemKind::folder, "folder" },
    { ItemKind::file, "file" },
    { ItemKind::calculator, "calculator" },
    { ItemKind::webSearch, "webSearch" },
    { ItemKind::systemCommand, "systemCommand" },
    { ItemKind::workflow, "workflow" },
    { ItemKind::snippet, "snippet" },
    { ItemKind::clipboard, "clipboard" },
    { ItemKind::action, "action" },
});
static_assert(isCompleteEnumTable<ItemKind>());

// What the kind of a thing adds to its score.
double rankingBonus(ItemKind kind);

// One thing the launcher can show and act on.
struct SearchItem {
    std::string id {}; // Stable across launches: the knowledge base learns under it.
    std::string title {};
    std::string subtitle {};
    ItemKind kind = ItemKind::file;
    std::optional<std::string> path {};
    std::optional<std::string> argument {};
    std::vector<std::string> keywords {};
    std::optional<std::string> autocomplete {};
    std::optional<std::string> symbolName {};
    bool isValid = true;
    bool operator==(const SearchItem&) const = default;
};

Json::Value toJSON(const SearchItem& item);
Result<SearchItem> searchItemFromJSON(const Json::Value& json);

// A search item with its texts prepared once, when its source is loaded.
struct IndexedItem {
    SearchItem item {};
    MatchText titleText {};
    std::vector<MatchText> keywordTexts {};
    bool operator==(const IndexedItem&) const = default;
};

IndexedItem makeIndexedItem(SearchItem item);

struct RankedResult {
    SearchItem item {};
    double score = 0;
    double matchScore = 0;   // The matcher's score, after the keyword factor.
    double learnedBoost = 0; // From 0 to below 1.
    std::vector<int> highlight {}; // Positions in the title; empty unless the title itself won.
    bool operator==(const RankedResult&) const = default;
};

Json::Value toJSON(const RankedResult& result);

} // namespace zeph
