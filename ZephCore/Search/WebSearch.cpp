#include "Search/WebSearch.h"

#include "Support/Text.h"

#include <algorithm>

namespace zeph {

namespace {

constexpr std::string_view queryPlaceholder = "{query}";

bool isLetter(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}

bool isAlphanumeric(char byte)
{
    return isLetter(byte) || (byte >= '0' && byte <= '9');
}

bool isHexDigit(char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f')
        || (byte >= 'A' && byte <= 'F');
}

bool isAllowedInURL(char byte)
{
    return isAlphanumeric(byte)
        || std::string_view("-._~!$&'()*+,;=:/?#[]@").find(byte) != std::string_view::npos;
}

// The characters a URL query may hold, without the separators "&+=?/" that would split the value.
bool isKeptInQuery(char byte)
{
    return isAlphanumeric(byte)
        || std::string_view("-._~!$'()*,;:@").find(byte) != std::string_view::npos;
}

std::string percentEncoded(std::string_view text)
{
    static constexpr char hexDigits[] = "0123456789ABCDEF";
    std::string encoded;
    for (char byte : text) {
        if (isKeptInQuery(byte)) {
            encoded += byte;
        } else {
            auto value = static_cast<unsigned char>(byte);
            encoded += '%';
            encoded += hexDigits[value >> 4];
            encoded += hexDigits[value & 0xF];
        }
    }
    return encoded;
}

bool hasBrackets(std::string_view text)
{
    return text.find_first_of("[]") != std::string_view::npos;
}

bool isPort(std::string_view text)
{
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

// "user@host:port", where the host may be an address in brackets.
bool isAuthority(std::string_view authority)
{
    auto at = authority.find('@');
    if (at != std::string_view::npos) {
        if (hasBrackets(authority.substr(0, at))
            || authority.find('@', at + 1) != std::string_view::npos)
            return false;
        authority.remove_prefix(at + 1);
    }
    if (authority.starts_with('[')) {
        auto close = authority.find(']');
        if (close == std::string_view::npos || close == 1
            || hasBrackets(authority.substr(1, close - 1)))
            return false;
        auto rest = authority.substr(close + 1);
        return rest.empty() || (rest[0] == ':' && isPort(rest.substr(1)));
    }
    auto colon = authority.find(':');
    return !hasBrackets(authority)
        && (colon == std::string_view::npos || isPort(authority.substr(colon + 1)));
}

// Whether text reads as a URL, absolute or relative, by the generic syntax: only characters a URL
// may hold, "%" with two hex digits, a well-formed scheme, one "#" at most, and brackets only
// around a host address.
bool isURL(std::string_view text)
{
    if (text.empty())
        return false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '%') {
            if (index + 2 >= text.size() || !isHexDigit(text[index + 1])
                || !isHexDigit(text[index + 2]))
                return false;
        } else if (!isAllowedInURL(text[index])) {
            return false;
        }
    }
    auto colon = text.find(':');
    if (colon < text.find_first_of("/?#")) {
        // Before any "/", "?" or "#", a colon ends the scheme.
        auto scheme = text.substr(0, colon);
        if (scheme.empty() || !isLetter(scheme[0])
            || !std::all_of(scheme.begin(), scheme.end(), [](char byte) {
                   return isAlphanumeric(byte) || byte == '+' || byte == '-' || byte == '.';
               }))
            return false;
        text.remove_prefix(colon + 1);
    }
    auto fragment = text.find('#');
    if (fragment != std::string_view::npos
        && text.find('#', fragment + 1) != std::string_view::npos)
        return false;
    auto queryOrFragment = text.find_first_of("?#");
    if (queryOrFragment != std::string_view::npos && hasBrackets(text.substr(queryOrFragment)))
        return false;
    auto hierarchy = text.substr(0, queryOrFragment);
    if (!hierarchy.starts_with("//"))
        return !hasBrackets(hierarchy);
    auto pathStart = hierarchy.find('/', 2);
    auto authority = hierarchy.substr(
        2, pathStart == std::string_view::npos ? std::string_view::npos : pathStart - 2);
    return isAuthority(authority)
        && (pathStart == std::string_view::npos || !hasBrackets(hierarchy.substr(pathStart)));
}

std::string replacingPlaceholder(std::string_view text, std::string_view replacement)
{
    std::string result;
    for (;;) {
        auto found = text.find(queryPlaceholder);
        result.append(text.substr(0, found));
        if (found == std::string_view::npos)
            return result;
        result.append(replacement);
        text.remove_prefix(found + queryPlaceholder.size());
    }
}

} // namespace

const std::vector<WebSearch>& WebSearch::defaults()
{
    static const std::vector<WebSearch> searches = {
        { .id = "google",
            .keyword = "g",
            .name = "Google",
            .url = "https://www.google.com/search?q={query}",
            .isFallback = true },
        { .id = "duckduckgo",
            .keyword = "ddg",
            .name = "DuckDuckGo",
            .url = "https://duckduckgo.com/?q={query}",
            .isFallback = true },
        { .id = "github",
            .keyword = "gh",
            .name = "GitHub",
            .url = "https://github.com/search?q={query}" },
        { .id = "wikipedia",
            .keyword = "wiki",
            .name = "Wikipedia",
            .url = "https://en.wikipedia.org/wiki/Special:Search?search={query}",
            .isFallback = true },
        { .id = "youtube",
            .keyword = "yt",
            .name = "YouTube",
            .url = "https://www.youtube.com/results?search_query={query}" },
        { .id = "maps",
            .keyword = "maps",
            .name = "Maps",
            .url = "https://www.openstreetmap.org/search?query={query}" },
        { .id = "dictionary",
            .keyword = "define",
            .name = "Dictionary",
            .url = "https://en.wiktionary.org/wiki/Special:Search?search={query}" },
        { .id = "amazon",
            .keyword = "amazon",
            .name = "Amazon",
            .url = "https://www.amazon.com/s?k={query}" },
    };
    return searches;
}

std::optional<std::string> WebSearch::urlFor(std::string_view query) const
{
    auto filled = replacingPlaceholder(url, percentEncoded(query));
    if (!isURL(filled))
        return std::nullopt;
    return filled;
}

SearchItem WebSearch::item(std::string_view query) const
{
    auto valid = isValidUTF8(query) ? std::string(query) : sanitizedUTF8(query);
    auto trimmedQuery = trimmedWhitespace(valid);
    SearchItem item {
        .id = "web:" + id,
        .kind = ItemKind::webSearch,
        .autocomplete = keyword + " ",
        .symbolName = "magnifyingglass",
        .isValid = !trimmedQuery.empty(),
    };
    if (trimmedQuery.empty()) {
        item.title = "Search " + name;
        item.subtitle = "Type " + keyword + " followed by your search";
        item.argument = urlFor("");
    } else {
        item.title = "Search " + name + " for '" + std::string(trimmedQuery) + "'";
        item.argument = urlFor(trimmedQuery);
        item.subtitle = item.argument.value_or(url);
    }
    return item;
}

Json::Value toJSON(const WebSearch& search)
{
    return {
        { "id", search.id },
        { "keyword", search.keyword },
        { "name", search.name },
        { "url", search.url },
        { "isEnabled", search.isEnabled },
        { "isFallback", search.isFallback },
    };
}

Result<WebSearch> webSearchFromJSON(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "A web search must be a JSON object." };
    WebSearch search;
    if (auto error = Json::firstError({
            Json::read(json, "id", search.id),
            Json::read(json, "keyword", search.keyword),
            Json::read(json, "name", search.name),
            Json::read(json, "url", search.url),
            Json::read(json, "isEnabled", search.isEnabled),
            Json::read(json, "isFallback", search.isFallback),
        }))
        return *error;
    return search;
}

const WebSearch* findWebSearch(std::span<const WebSearch> searches, std::string_view keyword)
{
    auto wanted = lowercasedText(keyword);
    for (auto& search : searches) {
        if (search.isEnabled && lowercasedText(search.keyword) == wanted)
            return &search;
    }
    return nullptr;
}

} // namespace zeph
