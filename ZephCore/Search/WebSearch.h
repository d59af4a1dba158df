#pragma once

#include "Search/SearchItem.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// A keyword and a URL template, so that "g cats" opens a search on the web. The user edits the
// list in the settings; `defaults()` is the list a new user starts with.
struct WebSearch {
    std::string id {};
    std::string keyword {}; // What the user types before the query.
    std::string name {}; // Shown in titles.
    std::string url {}; // "{query}" marks where the encoded query goes.
    bool isEnabled = true;
    bool isFallback = false; // May be offered when nothing else matches.
    bool operator==(const WebSearch&) const = default;

    static const std::vector<WebSearch>& defaults();

    // The template with every "{query}" replaced by the percent-encoded query; nothing when the
    // result is no URL. The separators of a query string ("&+=?#/") are encoded too, so that a
    // query such as "a&b" stays one value.
    std::optional<std::string> urlFor(std::string_view query) const;

    // The row for this search and a query, which is trimmed first; without a query it is an
    // invalid row that tells how to use the keyword.
    SearchItem item(std::string_view query) const;
};

// Every key is required: a partial entry fails the whole list.
Json::Value toJSON(const WebSearch& search);
Result<WebSearch> webSearchFromJSON(const Json::Value& json);

// The enabled search whose keyword equals `keyword`, compared in lower case.
const WebSearch* findWebSearch(std::span<const WebSearch> searches, std::string_view keyword);

} // namespace zeph
