#include "Support/Text.h"

#include "Search/MatchText.h"
#include "Support/ScalarTable.h"

#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/unistr.h>

using namespace zeph;

namespace {

const std::string replacement = "\xEF\xBF\xBD";

std::string repeated(const std::string& text, int count)
{
    std::string result;
    for (int index = 0; index < count; ++index)
        result += text;
    return result;
}

std::string bytes(std::initializer_list<unsigned char> values)
{
    std::string text;
    for (auto value : values)
        text.push_back(static_cast<char>(value));
    return text;
}

} // namespace

TEST(Text, EachIllFormedSubpartBecomesOneReplacementCharacter)
{
    struct Case {
        std::string bytes;
        std::string repaired;
    };
    const Case cases[] = {
        { "", "" },
        { "plain", "plain" },
        { "café", "café" },
        { "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80" },
        // The last scalar, and the replacement character itself, are well-formed.
        { "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF" },
        { replacement, replacement },
        // A truncated sequence is one subpart, wherever it is cut.
        { "\xC3", replacement },
        { "\xE2\x82", replacement },
        { "\xE2\x82x", replacement + "x" },
        { "\xF0\x9F\x98", replacement },
        { "\xF0\x9F\x98x", replacement + "x" },
        // Overlong forms: no prefix of them can begin a well-formed sequence.
        { "\xC0\x80", repeated(replacement, 2) },
        { "\xC1\xBF", repeated(replacement, 2) },
        { "\xE0\x80\x80", repeated(replacement, 3) },
        { "\xF0\x80\x80\x80", repeated(replacement, 4) },
        // Surrogates and scalars above U+10FFFF.
        { "\xED\xA0\x80", repeated(replacement, 3) },
        { "\xED\xBF\xBF", repeated(replacement, 3) },
        { "\xF4\x90\x80\x80", repeated(replacement, 4) },
        // Bytes that never appear in UTF-8.
        { "\xF5\x80", repeated(replacement, 2) },
        { "\xFF", replacement },
        { "\xFE\xFF", repeated(replacement, 2) },
        // Lone continuation bytes.
        { "\x80", replacement },
        { "\x80\xBFx", repeated(replacement, 2) + "x" },
        { "a\xBFz", "a" + replacement + "z" },
        // The worked example of the Unicode standard.
        { bytes({ 0x61, 0xF1, 0x80, 0x80, 0xE1, 0x80, 0xC2, 0x62, 0x80, 0x63, 0x80, 0xBF, 0x64 }),
            "a" + repeated(replacement, 3) + "b" + replacement + "c" + repeated(replacement, 2)
                + "d" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.bytes);
        EXPECT_EQ(isValidUTF8(testCase.bytes), testCase.bytes == testCase.repaired);
        auto repaired = sanitizedUTF8(testCase.bytes);
        EXPECT_EQ(repaired, testCase.repaired);
        EXPECT_TRUE(isValidUTF8(repaired));
    }
}

TEST(Text, ClustersAreUserPerceivedCharacters)
{
    struct Case {
        const char* text;
        std::vector<std::uint32_t> boundaries;
    };
    const Case cases[] = {
        { "", { 0 } },
        { "abc", { 0, 1, 2, 3 } },
        { "a\r\nb", { 0, 1, 3, 4 } },
        { "\r\n\r\n", { 0, 2, 4 } },
        { "\r\r\n", { 0, 1, 3 } },
        { "\n\r", { 0, 1, 2 } },
        { "é", { 0, 2 } },
        { "e\u0301", { 0, 3 } },
        // A mark late in otherwise simple text still joins its base.
        { "ae\u0301b", { 0, 1, 4, 5 } },
        // Nothing joins a line break.
        { "x\r\n\u0301", { 0, 1, 3, 5 } },
        { "\U0001F468\u200D\U0001F469\u200D\U0001F467", { 0, 18 } },
        { "\U0001F1EB\U0001F1F7\U0001F1E9\U0001F1EA", { 0, 8, 16 } },
        { "\u1112\u1161\u11AB", { 0, 9 } },
        { "\u1112\u1161\u11ABx", { 0, 9, 10 } },
    };
    // One vector for all cases, as the hot paths use it: each call starts afresh.
    std::vector<std::uint32_t> boundaries { 7, 7, 7 };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        graphemeBoundaries(testCase.text, boundaries);
        EXPECT_EQ(boundaries, testCase.boundaries);
        EXPECT_EQ(graphemeCount(testCase.text), testCase.boundaries.size() - 1);
    }
}

// Marks, whole Hangul syllables and controls take a path of their own beside ICU's break iterator:
// mixed at random with every other kind of joiner, the two must agree.
TEST(Text, ClustersAgreeWithICUOnMixedText)
{
    const char* pieces[] = { "a", "Z", " ", "\r", "\n", "\t", "\u00E9", "\u0301", "\u0308",
        "\u0903", "\u093F", "\u094D", "\u0915", "\u0600", "\u200D", "\uFE0F", "\u200B", "\uD55C",
        "\uAC00", "\u1112", "\u1161", "\u11AB", "\u0416", "\u65E5", "\U0001F680", "\U0001F3FD",
        "\U0001F1EB", "\U0001F468", "\u2615" };
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    ASSERT_TRUE(U_SUCCESS(status));
    std::mt19937 random(7);
    std::vector<std::uint32_t> boundaries;
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        auto length = random() % 6;
        for (std::size_t index = 0; index < length; ++index)
            text += pieces[random() % std::size(pieces)];
        std::vector<std::uint32_t> expected;
        auto unicode = icu::UnicodeString::fromUTF8(text);
        iterator->setText(unicode);
        // ICU counts UTF-16 units; the boundaries here are bytes of UTF-8.
        for (auto boundary = iterator->first(); boundary != icu::BreakIterator::DONE;
             boundary = iterator->next()) {
            std::string prefix;
            unicode.tempSubString(0, boundary).toUTF8String(prefix);
            expected.push_back(static_cast<std::uint32_t>(prefix.size()));
        }
        SCOPED_TRACE(text);
        graphemeBoundaries(text, boundaries);
        ASSERT_EQ(boundaries, expected);
    }
}

TEST(Text, FoldingIgnoresCaseAndDiacritics)
{
    struct Case {
        const char* text;
        const char* folded;
    };
    const Case cases[] = {
        { "", "" },
        { "Straße", "strasse" },
        { "ÉCOLE", "ecole" },
        { "Cafe\u0301", "cafe" },
        { "\u0130", "i" },
        { "\u03A9\u03BC\u03AD\u03B3\u03B1", "\u03C9\u03BC\u03B5\u03B3\u03B1" },
        { "\uFB01", "fi" },
        // Hangul syllables decompose into letters, not marks: they come back composed.
        { "\uD55C\uAD6D\uC5B4", "\uD55C\uAD6D\uC5B4" },
        { "\U0001F468\u200D\U0001F469\u200D\U0001F467",
            "\U0001F468\u200D\U0001F469\u200D\U0001F467" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(foldedText(testCase.text), testCase.folded);
    }
}

TEST(Text, CanonicallyEquivalentClustersShareOneCode)
{
    const char* family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
    struct Case {
        const char* first;
        const char* second;
    };
    const Case equivalents[] = {
        { "é", "e\u0301" },
        // Marks of different classes may come in either order.
        { "q\u0307\u0323", "q\u0323\u0307" },
        { "\u1112\u1161\u11AB", "\uD55C" },
        // The Angstrom sign is a singleton: its canonical form is A with ring above.
        { "\u212B", "Å" },
        { family, family },
    };
    for (auto& testCase : equivalents) {
        SCOPED_TRACE(testCase.first);
        EXPECT_EQ(characterCode(testCase.first), characterCode(testCase.second));
    }

    EXPECT_EQ(characterCode("a"), U'a');
    EXPECT_EQ(characterCode("e\u0301"), U'\u00E9');
    EXPECT_EQ(characterCode("\u1112\u1161\u11AB"), U'\uD55C');

    struct Interned {
        const char* cluster;
        const char* canonical;
    };
    const Interned interned[] = {
        { "\r\n", "\r\n" },
        { family, family },
        { "\U0001F1EB\U0001F1F7", "\U0001F1EB\U0001F1F7" },
        { "q\u0307\u0323", "q\u0323\u0307" },
    };
    std::vector<Character> codes;
    for (auto& testCase : interned) {
        SCOPED_TRACE(testCase.cluster);
        auto code = characterCode(testCase.cluster);
        EXPECT_GE(code, firstInternedCharacter);
        EXPECT_EQ(characterText(code), testCase.canonical);
        EXPECT_EQ(characterCode(characterText(code)), code);
        codes.push_back(code);
    }
    for (std::size_t first = 0; first < codes.size(); ++first) {
        for (std::size_t second = first + 1; second < codes.size(); ++second)
            EXPECT_NE(codes[first], codes[second]);
    }
    EXPECT_EQ(characterText(U'\u00E9'), "é");
}

TEST(Text, InterningFromTwoThreadsAgreesOnEveryCode)
{
    // Letters with marks that have no precomposed form, so that each cluster is interned.
    std::vector<std::string> clusters;
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        for (char32_t mark = 0x350; mark < 0x360; ++mark)
            clusters.push_back(std::string(1, letter) + characterText(mark));
    }
    auto intern = [&](std::vector<Character>& codes) {
        for (auto& cluster : clusters)
            codes.push_back(characterCode(cluster));
    };
    std::vector<Character> first;
    std::vector<Character> second;
    {
        std::jthread other(intern, std::ref(second));
        intern(first);
    }
    EXPECT_EQ(first, second);
    for (std::size_t index = 0; index < clusters.size(); ++index) {
        SCOPED_TRACE(clusters[index]);
        EXPECT_EQ(characterText(first[index]), clusters[index]);
    }
}

TEST(Text, TrimmingRemovesSpaceSeparatorsAndTabsOnly)
{
    struct Case {
        const char* text;
        const char* trimmed;
    };
    const Case cases[] = {
        { "", "" },
        { "   ", "" },
        { "\t\u3000 a b \u00A0", "a b" },
        { "\u2003x\u202F", "x" },
        { "\n a \n", "\n a \n" },
        { "\r\n", "\r\n" },
        // A space that carries a combining mark is a character of its own.
        { " \u0301a ", " \u0301a" },
        // Line separators and zero-width characters are not space separators.
        { "a\u2028", "a\u2028" },
        { "\u200Ba", "\u200Ba" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(testCase.text);
        EXPECT_EQ(trimmedWhitespace(testCase.text), testCase.trimmed);
    }
}

TEST(Text, LatinTableAgreesWithTheFullRules)
{
    // The table stands in for ICU on the hot paths, so it must give exactly what ICU gives.
    for (char32_t scalar = 0; scalar < latinLimit; ++scalar) {
        SCOPED_TRACE(static_cast<unsigned>(scalar));
        auto text = characterText(scalar);
        auto& latin = latinScalar(scalar);
        EXPECT_EQ(graphemeCount(text), 1u);
        EXPECT_EQ(static_cast<Character>(latin.folded), foldCharacter(text));
        EXPECT_EQ(latin.properties, characterProperties(scalar));
        auto lowered = lowercasedText(text);
        std::size_t offset = 0;
        auto firstLowered = decodeScalar(lowered, offset);
        EXPECT_EQ(static_cast<char32_t>(latin.lowercased),
            offset == lowered.size() ? firstLowered : U'\0');
    }
}

TEST(Text, ScalarTableAgreesWithICUOnEveryScalarItHolds)
{
    // The table is built from ICU with the very functions below; this holds its packing (blocks
    // shared between ranges, folds kept as distances) to what they give.
    std::vector<unsigned> wrongFlags;
    std::vector<unsigned> wrongFolds;
    for (char32_t scalar = 0; scalar < ScalarTable::size; ++scalar) {
        if (ScalarTable::flags(scalar) != computeScalarFlags(scalar))
            wrongFlags.push_back(scalar);
        if (scalar >= 0xD800 && scalar <= 0xDFFF)
            continue;
        auto text = characterText(scalar);
        auto folded = computeFoldedCharacter(text);
        auto tabled = ScalarTable::fold(scalar);
        if (tabled != (folded < firstInternedCharacter ? folded : 0)
            || foldCharacter(text) != folded)
            wrongFolds.push_back(scalar);
    }
    EXPECT_EQ(wrongFlags, std::vector<unsigned> {});
    EXPECT_EQ(wrongFolds, std::vector<unsigned> {});
}
