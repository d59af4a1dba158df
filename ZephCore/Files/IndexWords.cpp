#include "Files/IndexWords.h"

#include "Search/MatchText.h"
#include "Support/Text.h"

#include <algorithm>

namespace zeph {

namespace {

bool isWordCharacter(Character character)
{
    if (character >= firstInternedCharacter)
        return false;
    auto properties = characterProperties(character);
    return properties.isLetter || properties.isNumber;
}

// Hands each folded word of `text` to `visit` as a string_view valid for the call. Text that is
// plain ASCII (no CR LF pair, which is one character) is folded byte by byte with the matcher's own
// byte rules; anything else goes through the matcher's preparation.
template <typename Visit> void forEachWord(std::string_view text, std::string& word, Visit&& visit)
{
    word.clear();
    bool isPlain = std::all_of(text.begin(), text.end(),
        [](char byte) { return static_cast<unsigned char>(byte) < 0x80 && byte != '\r'; });
    if (isPlain) {
        for (std::size_t index = 0; index < text.size(); ++index) {
            auto byte = static_cast<unsigned char>(text[index]);
            bool isWord = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z')
                || (byte >= 'A' && byte <= 'Z');
            if (!isWord || (index > 0 && Ascii::isWordStart(text[index - 1], byte))) {
                if (!word.empty())
                    visit(std::string_view(word));
                word.clear();
            }
            if (isWord)
                word.push_back(static_cast<char>(Ascii::fold(byte)));
        }
    } else {
        auto prepared = makeMatchText(text);
        for (std::size_t index = 0; index < prepared.chars.size(); ++index) {
            auto character = prepared.chars[index];
            bool isWord = isWordCharacter(character);
            if (!isWord || prepared.wordStart[index]) {
                if (!word.empty())
                    visit(std::string_view(word));
                word.clear();
            }
            if (isWord)
                appendUTF8(word, character);
        }
    }
    if (!word.empty())
        visit(std::string_view(word));
}

// At most `longestWord` bytes, cut where a character starts.
std::string_view shortened(std::string_view word)
{
    if (word.size() <= longestWord)
        return word;
    auto end = longestWord;
    while (end > 0 && (static_cast<unsigned char>(word[end]) & 0xC0) == 0x80)
        --end;
    return word.substr(0, end);
}

} // namespace

void appendIndexWords(std::string_view name, std::string& words)
{
    thread_local std::string word;
    thread_local std::string whole;
    whole.clear();
    int count = 0;
    forEachWord(name, word, [&](std::string_view folded) {
        words += folded;
        words += ' ';
        whole += folded;
        ++count;
    });
    if (count > 1) {
        words += whole;
        words += ' ';
    }
}

std::string contentWords(std::string_view text)
{
    std::string word;
    std::vector<std::string> words;
    forEachWord(
        text, word, [&](std::string_view folded) { words.emplace_back(shortened(folded)); });
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    std::string joined;
    for (auto& distinct : words) {
        joined += distinct;
        joined += ' ';
    }
    return joined;
}

std::vector<std::string> foldedWords(std::span<const std::string> typed)
{
    std::vector<std::string> folded;
    std::string word;
    for (auto& text : typed)
        forEachWord(
            text, word, [&](std::string_view each) { folded.emplace_back(shortened(each)); });
    return folded;
}

std::string prefixExpression(std::span<const std::string> folded, std::size_t characters)
{
    std::string expression;
    for (auto& word : folded) {
        if (!expression.empty())
            expression += ' ';
        // A quoted string followed by * is a prefix query; a quote inside is written twice.
        expression += '"';
        std::size_t seen = 0;
        for (char byte : word) {
            if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80 && seen++ == characters)
                break;
            if (byte == '"')
                expression += '"';
            expression += byte;
        }
        expression += "\"*";
    }
    return expression;
}

std::string matchExpression(std::span<const std::string> typed)
{
    return prefixExpression(foldedWords(typed));
}

bool beginsWordsOf(std::string_view name, std::span<const std::string> folded)
{
    thread_local std::string words;
    words.clear();
    appendIndexWords(name, words);
    return std::all_of(folded.begin(), folded.end(), [](const std::string& word) {
        for (std::size_t start = 0; start < words.size();) {
            auto end = words.find(' ', start);
            if (std::string_view(words).substr(start, end - start).starts_with(word))
                return true;
            start = end + 1;
        }
        return false;
    });
}

} // namespace zeph
