#include "Search/QueryParser.h"

#include "Support/Text.h"

#include <vector>

namespace zeph::QueryParser {

namespace {

// The text split into characters, so that a prefix is matched character by character: a space
// that carries a combining mark is not a space.
struct Characters {
    explicit Characters(std::string_view validText)
        : text(validText)
    {
        graphemeBoundaries(text, boundaries);
    }
    std::size_t count() const { return boundaries.size() - 1; }
    std::string_view at(std::size_t index) const
    {
        return text.substr(boundaries[index], boundaries[index + 1] - boundaries[index]);
    }
    std::string_view from(std::size_t index) const { return text.substr(boundaries[std::min(index, count())]); }
    // True when the text begins with `prefix` (ASCII), compared without regard to ASCII case
    // when `ignoringCase`; no other character lower-cases to an ASCII letter of a prefix.
    bool beginsWith(std::string_view prefix, bool ignoringCase = false) const
    {
        if (count() < prefix.size())
            return false;
        for (std::size_t index = 0; index < prefix.size(); ++index) {
            auto character = at(index);
            if (character.size() != 1)
                return false;
            char byte = character[0];
            if (ignoringCase && byte >= 'A' && byte <= 'Z')
                byte = static_cast<char>(byte + 32);
            if (byte != prefix[index])
                return false;
        }
        return true;
    }

    std::string_view text;
    std::vector<std::uint32_t> boundaries;
};

ParsedQuery withKeyword(QueryMode mode, std::string_view term)
{
    ParsedQuery parsed { .mode = mode, .term = std::string(term) };
    Characters characters(term);
    for (std::size_t index = 0; index < characters.count(); ++index) {
        if (characters.at(index) == " ") {
            parsed.keyword = lowercasedText(term.substr(0, characters.boundaries[index]));
            parsed.argument = std::string(characters.from(index + 1));
            return parsed;
        }
    }
    parsed.keyword = lowercasedText(term);
    return parsed;
}

} // namespace

ParsedQuery parse(std::string_view rawText)
{
    auto valid = isValidUTF8(rawText) ? std::string(rawText) : sanitizedUTF8(rawText);
    Characters text(valid);
    if (text.beginsWith("/") || valid == "~" || text.beginsWith("~/"))
        return withKeyword(QueryMode::navigate, valid);
    if (text.beginsWith(" ") || text.beginsWith("'"))
        return withKeyword(QueryMode::openFile, trimmedWhitespace(text.from(1)));
    if (text.beginsWith("open ", true))
        return withKeyword(QueryMode::openFile, trimmedWhitespace(text.from(5)));
    if (text.beginsWith("find ", true))
        return withKeyword(QueryMode::findFile, trimmedWhitespace(text.from(5)));
    if (text.beginsWith("in ", true))
        return withKeyword(QueryMode::contents, trimmedWhitespace(text.from(3)));
    return withKeyword(QueryMode::standard, valid);
}

ParsedQuery standardQuery(std::string_view text)
{
    return withKeyword(QueryMode::standard, isValidUTF8(text) ? std::string(text) : sanitizedUTF8(text));
}

std::string escapeForPredicate(std::string_view text)
{
    std::string escaped;
    escaped.reserve(text.size());
    for (char character : text) {
        if (character == '\\' || character == '"' || character == '*' || character == '\'')
            escaped.push_back('\\');
        escaped.push_back(character);
    }
    return escaped;
}

} // namespace zeph::QueryParser
