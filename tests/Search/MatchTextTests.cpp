#include "Search/MatchText.h"

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

using namespace zeph;

namespace {

const char* const family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";

} // namespace

TEST(MatchText, FoldingGivesOneCharacterForOne)
{
    struct Case {
        const char* cluster;
        Character folded;
    };
    const Case cases[] = {
        { "A", U'a' },
        { "z", U'z' },
        { "7", U'7' },
        { "_", U'_' },
        { "É", U'e' },
        { "E\u0301", U'e' },
        { "e\u0301", U'e' },
        { "ß", U's' },
        { "\u03A3", U'\u03C3' },
        { "\u03C2", U'\u03C3' },
        { "\u0130", U'i' },
        { "\u212A", U'k' },
        { "\u212B", U'a' },
        { "\uFB01", U'f' },
        // A mark on its own folds to nothing, so it stays itself.
        { "\u0301", U'\u0301' },
        // A Hangul syllable is letters, not a letter with marks; its jamo spelling is the same
        // character.
        { "\uD55C", U'\uD55C' },
        { "\u1112\u1161\u11AB", U'\uD55C' },
        { "日", U'\u65E5' },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.cluster);
        EXPECT_EQ(foldCharacter(testCase.cluster), testCase.folded);
    }
    // Clusters of several scalars that folding leaves alone keep their own code.
    for (auto cluster : { "\r\n", family, "\U0001F1EB\U0001F1F7" }) {
        SCOPED_TRACE(cluster);
        EXPECT_EQ(foldCharacter(cluster), characterCode(cluster));
        EXPECT_GE(foldCharacter(cluster), firstInternedCharacter);
    }
}

TEST(MatchText, QueryIsTrimmedAndCompactedOnlyOfPlainSpaces)
{
    struct Case {
        std::string raw;
        std::u32string chars;
        std::u32string compact;
    };
    const Case cases[] = {
        { "", U"", U"" },
        { "   ", U"", U"" },
        { "\t\u3000 ", U"", U"" },
        { "CAFÉ", U"cafe", U"cafe" },
        { "  Safari App\t\u3000", U"safari app", U"safariapp" },
        { "a  b", U"a  b", U"ab" },
        // Only U+0020 leaves the compact form: a tab or an ideographic space inside stays.
        { "a\tb c", U"a\tb c", U"a\tbc" },
        { "a\u3000b", U"a\u3000b", U"a\u3000b" },
        // Line breaks are not trimmed.
        { "\nab ", U"\nab", U"\nab" },
        { "Cafe\u0301", U"cafe", U"cafe" },
        { "a\xFF", U"a\uFFFD", U"a\uFFFD" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.raw);
        auto query = makeQueryText(testCase.raw);
        EXPECT_EQ(query.chars, testCase.chars);
        EXPECT_EQ(query.compact, testCase.compact);
        if (isValidUTF8(testCase.raw)) {
            EXPECT_EQ(query.raw, testCase.raw);
        }
    }
    EXPECT_EQ(makeQueryText("a\xFF").raw, "a\uFFFD");
}

TEST(MatchText, TargetKeepsOneFoldedEntryPerCharacter)
{
    struct Case {
        std::string text;
        std::u32string chars;
    };
    const Case cases[] = {
        { "", U"" },
        { " Café ", U" cafe " },
        { "Cafe\u0301", U"cafe" },
        { "Straße", U"strase" },
        { std::string(family) + "x", std::u32string { characterCode(family), U'x' } },
        { "\U0001F1EB\U0001F1F7\U0001F1E9\U0001F1EA",
            std::u32string {
                characterCode("\U0001F1EB\U0001F1F7"), characterCode("\U0001F1E9\U0001F1EA") } },
        { "a\r\nb", std::u32string { U'a', characterCode("\r\n"), U'b' } },
        { "\u1112\u1161\u11AB!", U"\uD55C!" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        auto target = makeMatchText(testCase.text);
        EXPECT_EQ(target.original, testCase.text);
        EXPECT_EQ(target.chars, testCase.chars);
        EXPECT_EQ(target.wordStart.size(), target.chars.size());
    }
}

TEST(MatchText, WordsStartAfterSeparatorsAtCaseChangesAndAtDigits)
{
    struct Case {
        const char* text;
        std::vector<int> wordStarts;
    };
    const Case cases[] = {
        { "", {} },
        { "FileVault2Backup", { 0, 4, 9, 10 } },
        { "HTTPServer", { 0 } },
        { "iPhone", { 0, 1 } },
        { "x-ray", { 0, 2 } },
        { "a - b", { 0, 4 } },
        { "  lead", { 2 } },
        { "-", {} },
        { "snake_case.file", { 0, 6, 11 } },
        { "path/to\\file", { 0, 5, 8 } },
        { "f(x)[y]{z}", { 0, 2, 5, 8 } },
        { "a:b,c+d&e@f", { 0, 2, 4, 6, 8, 10 } },
        { "'q' \"r\"\tt", { 1, 5, 8 } },
        // Only the twenty separators count: "#" and the no-break space do not.
        { "C# C++", { 0, 3 } },
        { "a\u00A0b", { 0 } },
        { "v22nd", { 0, 1, 3 } },
        // Case is read before folding, and from the Unicode properties, not only ASCII.
        { "élanÉtoile", { 0, 4 } },
        { "élanE\u0301toile", { 0, 4 } },
        { "\u03A9mega \u03A3igma", { 0, 6 } },
        { "a\u03A3", { 0, 1 } },
        // Uncased letters are neither upper nor lower case.
        { "日本語", { 0 } },
        { "日本Go", { 0 } },
        // Any numeric character, not only ASCII digits.
        { "abc\u0663def", { 0, 3, 4 } },
        { "x½y", { 0, 1, 2 } },
        // A separator that carries a combining mark is a different character.
        { "a-\u0301b", { 0 } },
        { "a\r\nB", { 0 } },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        auto target = makeMatchText(testCase.text);
        EXPECT_EQ(target.wordStarts, testCase.wordStarts);
        std::vector<bool> flags(target.chars.size(), false);
        for (auto position : testCase.wordStarts)
            flags[static_cast<std::size_t>(position)] = true;
        EXPECT_EQ(target.wordStart, flags);
    }
}

TEST(MatchText, InvalidUTF8IsRepairedNotFatal)
{
    auto target = makeMatchText("ab\xFF"
                                "Cd\xE2\x82");
    EXPECT_EQ(target.original, "ab\uFFFDCd\uFFFD");
    EXPECT_EQ(target.chars, U"ab\uFFFDcd\uFFFD");
    // U+FFFD is neither a separator nor cased, so the "C" after it starts no word.
    EXPECT_EQ(target.wordStarts, (std::vector<int> { 0 }));
}

TEST(MatchText, LatinShortcutAgreesWithTheFullRules)
{
    // Text made only of scalars below U+0300 takes a table-driven shortcut; appending a CJK
    // character forces the full rules over the same characters.
    for (char32_t scalar = 0; scalar < latinLimit; ++scalar) {
        SCOPED_TRACE(static_cast<unsigned>(scalar));
        auto character = characterText(scalar);
        auto latin = "a" + character + "A" + character + "1" + character + "-" + character + "a";
        auto shortcut = makeMatchText(latin);
        auto full = makeMatchText(latin + "日");
        ASSERT_EQ(full.chars.size(), shortcut.chars.size() + 1);
        EXPECT_EQ(full.chars.substr(0, shortcut.chars.size()), shortcut.chars);
        EXPECT_EQ(std::vector<bool>(full.wordStart.begin(), full.wordStart.end() - 1),
            shortcut.wordStart);
    }
}

// Latin lines are folded and split into words on their bytes, sixteen ASCII bytes at a time where
// they can: random lines of mostly ASCII, with a Latin character here and there, agree with the
// prepared characters, whatever the blocks' and the bit words' boundaries.
TEST(MatchText, LatinBytesFoldAndStartWordsLikePreparedText)
{
    const std::vector<std::string> pieces = { "a", "Z", "q", "7", "0", "/", "-", " ", "_", ".", "@",
        "\t", "~", "é", "Ü", "ß", "Ç", "²", "ª", "×" };
    std::mt19937 random(5);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        auto length = random() % 200;
        for (std::size_t index = 0; index < length; ++index) {
            // Latin characters one time in twenty.
            auto piece = random() % 20 == 0 ? 13 + random() % 7 : random() % 13;
            text += pieces[piece];
        }
        SCOPED_TRACE(text);
        PreparedCharacters prepared;
        prepareCharacters(text, prepared);
        auto count = prepared.chars.size();
        // Every other line is followed by bytes that may be read but are not its own.
        auto buffer = text + (round % 2 ? "Zé-9\xFF aB_c.D/0ÜxyZ" : "");
        std::vector<std::uint8_t> folded(text.size() + 16);
        std::vector<std::uint64_t> bits(count / 64 + 1);
        auto latin = std::string_view(buffer).substr(0, text.size());
        foldLatinBytes(latin, buffer.size(), folded.data());
        findLatinWordStarts(latin, buffer.size(), bits.data());
        for (std::size_t position = 0; position < count; ++position) {
            ASSERT_EQ(folded[position], prepared.chars[position]) << position;
            ASSERT_EQ((bits[position / 64] >> (position % 64)) & 1, prepared.wordStart[position])
                << position;
        }
    }
}
