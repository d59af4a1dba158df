#include "Files/FileQuery.h"

#include "Support/Text.h"

namespace zeph {

namespace {

constexpr std::string_view nameAttribute = "kMDItemDisplayName";
constexpr std::string_view contentAttribute = "kMDItemTextContent";
constexpr std::string_view typeTreeAttribute = "kMDItemContentTypeTree";
constexpr std::string_view typeAttribute = "kMDItemContentType";

struct Comparison {
    std::string_view attribute {};
    bool isEqual = true;
    std::string value {};
};

// Reads the predicate language a piece at a time; every reader skips the spaces before it.
class PredicateReader {
public:
    explicit PredicateReader(std::string_view text)
        : m_text(text)
    {
    }

    bool isAtEnd()
    {
        skipSpaces();
        return m_at == m_text.size();
    }

    bool take(std::string_view token)
    {
        skipSpaces();
        if (!m_text.substr(m_at).starts_with(token))
            return false;
        m_at += token.size();
        return true;
    }

    std::optional<Comparison> comparison()
    {
        skipSpaces();
        auto start = m_at;
        while (m_at < m_text.size() && isASCIILetter(m_text[m_at]))
            ++m_at;
        Comparison comparison { .attribute = m_text.substr(start, m_at - start) };
        if (comparison.attribute.empty())
            return std::nullopt;
        if (take("!="))
            comparison.isEqual = false;
        else if (!take("=="))
            return std::nullopt;
        if (!take("\""))
            return std::nullopt;
        for (;;) {
            if (m_at == m_text.size())
                return std::nullopt;
            char character = m_text[m_at++];
            if (character == '"')
                break;
            if (character == '\\') {
                if (m_at == m_text.size())
                    return std::nullopt;
                character = m_text[m_at++];
            } else if (character == '*' && m_at < m_text.size() && m_text[m_at] == '"') {
                continue; // A prefix, which is how the index compares every word.
            }
            comparison.value += character;
        }
        // The modifiers: case, diacritics and words, which the index always applies.
        while (m_at < m_text.size()
            && (m_text[m_at] == 'c' || m_text[m_at] == 'd' || m_text[m_at] == 'w'))
            ++m_at;
        return comparison;
    }

    Error error()
    {
        skipSpaces();
        auto rest = m_text.substr(m_at, 40);
        return Error { "The file query is not understood at “" + sanitizedUTF8(rest) + "”." };
    }

private:
    static bool isASCIILetter(char character)
    {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
    }

    void skipSpaces()
    {
        while (m_at < m_text.size() && m_text[m_at] == ' ')
            ++m_at;
    }

    std::string_view m_text;
    std::size_t m_at = 0;
};

} // namespace

Result<FileQuery> FileQuery::parse(std::string_view predicate)
{
    FileQuery query;
    PredicateReader reader(predicate);
    std::optional<Field> field;
    do {
        bool isGroup = reader.take("(");
        if (isGroup && query.types)
            return reader.error(); // One group of types is all a request asks for.
        do {
            auto comparison = reader.comparison();
            if (!comparison)
                return reader.error();
            auto& attribute = comparison->attribute;
            if (attribute == typeTreeAttribute && comparison->isEqual) {
                if (!isGroup && query.types)
                    return reader.error();
                query.types = query.types.value_or(0) | ContentTypes::bit(comparison->value);
            } else if (isGroup) {
                return reader.error();
            } else if (attribute == typeAttribute && !comparison->isEqual
                && comparison->value == "public.folder") {
                query.excludesFolders = true;
            } else if ((attribute == nameAttribute || attribute == contentAttribute)
                && comparison->isEqual) {
                auto wordField = attribute == nameAttribute ? Field::name : Field::contents;
                if (field && field != wordField)
                    return Error { "The file query asks for names and contents at once." };
                field = wordField;
                query.words.push_back(std::move(comparison->value));
            } else {
                return reader.error();
            }
        } while (isGroup && reader.take("||"));
        if (isGroup && !reader.take(")"))
            return reader.error();
    } while (reader.take("&&"));
    if (!reader.isAtEnd())
        return reader.error();
    if (!field)
        return Error { "The file query has no word to look for." };
    query.field = *field;
    return query;
}

} // namespace zeph
