#include "Files/IndexWords.h"

#include "Search/MatchText.h"
#include "Support/Text.h"

#include <random>

#include <gtest/gtest.h>

namespace {

using namespace zeph;

std::string wordsOf(std::string_view name)
{
    std::string words;
    appendIndexWords(name, words);
    return words;
}

// The words as the matcher's own preparation sees them, character by character.
std::string preparedWords(std::string_view name)
{
    auto prepared = makeMatchText(name);
    std::string words, word, whole;
    int count = 0;
    auto flush = [&] {
        if (!word.empty()) {
            words += word + " ";
            ++count;
        }
        word.clear();
    };
    for (std::size_t index = 0; index < prepared.chars.size(); ++index) {
        auto character = prepared.chars[index];
        auto properties = characterProperties(character);
        bool isWord
            = character < firstInternedCharacter && (properties.isLetter || properties.isNumber);
        if (!isWord || prepared.wordStart[index])
            flush();
        if (isWord) {
            appendUTF8(word, character);
            appendUTF8(whole, character);
        }
    }
    flush();
    return count > 1 ? words + whole + " " : words;
}

TEST(IndexWords, FoldsAndSplitsNamesAsTheMatcherSeesWords)
{
    EXPECT_EQ(wordsOf("Café-Menu_2024.PDF"), "cafe menu 2024 pdf cafemenu2024pdf ");
    EXPECT_EQ(wordsOf("FileCheck"), "file check filecheck ");
    EXPECT_EQ(wordsOf("notes"), "notes ");
    EXPECT_EQ(wordsOf("Ǆemal Ærø"), "ǆemal ærø ǆemalærø ");
    EXPECT_EQ(wordsOf("-- .. --"), "");
    // Vowel signs are marks to some tables and letters to others; the word must stay whole.
    EXPECT_EQ(wordsOf("क्षेत्र"), preparedWords("क्षेत्र"));
}

TEST(IndexWords, PlainASCIINamesSplitAsThePreparedOnes)
{
    std::mt19937 random(20261125);
    std::string_view alphabet = "abcXYZ019 -_./()[]:,+&@'\"#~%!?=\t\n";
    for (int round = 0; round < 5000; ++round) {
        std::string name;
        auto length = random() % 24;
        for (std::size_t index = 0; index < length; ++index)
            name += alphabet[random() % alphabet.size()];
        ASSERT_EQ(wordsOf(name), preparedWords(name)) << "name: " << name;
    }
}

TEST(IndexWords, KeepsEachWordOfATextOnceAndShort)
{
    EXPECT_EQ(contentWords("The cat saw THE other Cat."), "cat other saw the ");
    EXPECT_EQ(contentWords("Ünïcode naïve"), "naive unicode ");
    std::string longWord(100, 'a');
    EXPECT_EQ(contentWords(longWord), std::string(longestWord, 'a') + " ");
    // A cut never splits a character.
    std::string accented;
    for (int index = 0; index < 40; ++index)
        accented += "ж";
    auto words = contentWords(accented);
    EXPECT_TRUE(isValidUTF8(words));
    EXPECT_LE(words.size(), longestWord + 1);
    EXPECT_EQ(contentWords(""), "");
}

TEST(IndexWords, QuotesEveryTypedWordAsAPrefix)
{
    std::vector<std::string> typed { " CAFÉ", "men", "\"-*", "a\"b", "FileCh" };
    EXPECT_EQ(matchExpression(typed), "\"cafe\"* \"men\"* \"a\"* \"b\"* \"file\"* \"ch\"*");
    EXPECT_EQ(matchExpression(std::vector<std::string> { "--", "" }), "");
    EXPECT_EQ(matchExpression(std::vector<std::string> { std::string(80, 'q') }),
        "\"" + std::string(longestWord, 'q') + "\"*");
}

TEST(IndexWords, CutsWordsToTheirFirstCharacters)
{
    auto folded = foldedWords(std::vector<std::string> { "Config", "ЖЖЖЖ", "ab", "q\"\"x" });
    EXPECT_EQ(folded, (std::vector<std::string> { "config", "жжжж", "ab", "q", "x" }));
    EXPECT_EQ(prefixExpression(folded, 3), "\"con\"* \"жжж\"* \"ab\"* \"q\"* \"x\"*");
    EXPECT_EQ(prefixExpression(folded),
        matchExpression(std::vector<std::string> { "Config ЖЖЖЖ ab q x" }));
    EXPECT_EQ(prefixExpression(std::vector<std::string> { "a\"b" }, 2), "\"a\"\"\"*");
    EXPECT_TRUE(foldedWords(std::vector<std::string> { "--", "" }).empty());
}

TEST(IndexWords, TellsWhetherEachWordBeginsAWordOfAName)
{
    struct Case {
        std::string_view name;
        std::vector<std::string> typed;
        bool isFound;
    };
    std::vector<Case> cases {
        { "Résumé Final.pdf", { "resu", "FIN" }, true },
        { "Résumé Final.pdf", { "sume" }, false },
        { "FileCheck.cpp", { "check" }, true },
        { "FileCheck.cpp", { "filech" }, true }, // The whole name's letters run together.
        { "FileCheck.cpp", { "filecpp" }, false },
        { "config2024.yaml", { "2024" }, true },
        { "config2024.yaml", { "config2" }, true },
        { "crème brûlée", { "brulee", "creme" }, true },
        { "crème brûlée", { "brulees" }, false },
        { "", { "a" }, false },
        { "anything", {}, true },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        EXPECT_EQ(beginsWordsOf(testCase.name, foldedWords(testCase.typed)), testCase.isFound);
    }
}

} // namespace
