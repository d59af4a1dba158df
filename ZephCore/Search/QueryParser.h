#pragma once

#include "Support/EnumTable.h"

#include <optional>
#include <string>
#include <string_view>

namespace zeph {

enum class QueryMode { standard, openFile, findFile, contents, navigate };

template<>
inline constexpr auto enumNames<QueryMode> = std::to_array<std::pair<QueryMode, std::string_view>>({
    { QueryMode::standard, "standard" },
    { QueryMode::openFile, "openFile" },
    { QueryMode::findFile, "findFile" },
    { QueryMode::contents, "contents" },
    { QueryMode::navigate, "navigate" },
});
static_assert(isCompleteEnumTable<QueryMode>());

struct ParsedQuery {
    QueryMode mode = QueryMode::standard;
    std::string term {};    // The text to search, without any mode prefix.
    std::string keyword {}; // The first space-separated word of `term`, lower-cased.
    std::optional<std::string> argument {}; // All after the first space of `term`, as typed.
    bool operator==(const ParsedQuery&) const = default;
};

namespace QueryParser {

// Reads the leading characters of the typed text, exactly as typed, to decide the kind of query.
ParsedQuery parse(std::string_view text);
// The same record as if no prefix had been seen.
ParsedQuery standardQuery(std::string_view text);
// Puts a backslash before each backslash, double quote, "*" and "'".
std::string escapeForPredicate(std::string_view text);

} // namespace QueryParser

} // namespace zeph
