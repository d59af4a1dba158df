#include "Files/IndexWords.h"

#include "Search/MatchText.h"
#include "Support/Text.h"

namespace zeph {

namespace {

bool isWordCharacter(Character character)
{
    if (character >= firstInternedCharacter)
        return false;
    auto properties = characterProperties(character);
    return properties.isLetter || properties.isNumber;
}

std::vector<std::string> foldedWords(std::string_view text, bool withWhole)
{
    auto prepared = makeMatchText(text);
    std::vector<std::string> words;
    std::string word;
    std::string whole;
    for (std::size_t index = 0; index < prepared.chars.size(); ++index) {
        auto character = prepared.chars[index];
        if (!isWordCharacter(character) || prepared.wordStart[index]) {
            if (!word.empty())
                words.push_back(std::move(word));
            word.clear();
        }
        if (isWordCharacter(character)) {
            appendUTF8(word, character);
            appendUTF8(whole, character);
        }
    }
    if (!word.empty())
        words.push_back(std::move(word));
    if (withWhole && words.size() > 1)
        words.push_back(std::move(whole));
    return words;
}

} // namespace

std::vector<std::string> indexWords(std::string_view name)
{
    return foldedWords(name, true);
}

std::string nameMatchExpression(std::string_view term)
{
    std::string expression;
    for (auto& word : foldedWords(term, false)) {
        if (!expression.empty())
            expression += ' ';
        // A quoted string followed by * is a prefix query; a quote inside is written twice.
        expression += '"';
        for (char byte : word) {
            if (byte == '"')
                expression += '"';
            expression += byte;
        }
        expression += "\"*";
    }
    return expression;
}

} // namespace zeph
