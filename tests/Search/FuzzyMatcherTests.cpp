#include "Search/FuzzyMatcher.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

using namespace zeph;

namespace {

std::optional<Match> matchText(std::string_view query, std::string_view target)
{
    return FuzzyMatcher::match(makeQueryText(query), makeMatchText(target));
}

std::vector<int> range(int first, int last)
{
    std::vector<int> values;
    for (int value = first; value <= last; ++value)
        values.push_back(value);
    return values;
}

} // namespace

TEST(FuzzyMatcher, EachStageScoresInItsBand)
{
    struct Case {
        const char* query;
        const char* target;
        double score;
        std::vector<int> indices;
    };
    const Case cases[] = {
        { "CAFÉ", "Cafe", 1.0, range(0, 3) },
        { "sa", "Safari", 0.9 + 0.08 * (2.0 / 6.0), { 0, 1 } },
        { "app", "Safari App", 0.8 + 0.08 * (3.0 / 10.0), { 7, 8, 9 } },
        { "code", "Visual Studio Code", 0.8 + 0.08 * (4.0 / 18.0), range(14, 17) },
        { "vs", "Visual Studio Code", 0.72 + 0.06 * (2.0 / 3.0), { 0, 7 } },
        { "a b", "a-b", 0.72 + 0.06 * (2.0 / 2.0), { 0, 2 } },
        { "ode", "Visual Studio Code", 0.62 + 0.05 * (3.0 / 18.0), range(15, 17) },
        // The word start at 0 belongs to the prefix stage; "afari" is a plain substring.
        { "afari", "Safari", 0.62 + 0.05 * (5.0 / 6.0), range(1, 5) },
        // Q is longer than T here, yet the compacted query matches scattered: runs and starts.
        { "a b", "ab", 0.25 + (1 * 0.15) / 2.0 + (1 * 0.12) / 1.0, { 0, 1 } },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(std::string(testCase.query) + " / " + testCase.target);
        auto match = matchText(testCase.query, testCase.target);
        ASSERT_TRUE(match);
        EXPECT_DOUBLE_EQ(match->score, testCase.score);
        EXPECT_EQ(match->indices, testCase.indices);
    }
}

TEST(FuzzyMatcher, ScatteredScoreCountsStartsRunsLatenessAndGaps)
{
    // "fb" in "xfooxbar": f at 1 (not a start), b at 5 (not a start): no runs, first 1, gaps 3.
    auto match = matchText("fb", "xfooxbar");
    ASSERT_TRUE(match);
    EXPECT_EQ(match->indices, (std::vector<int> { 1, 5 }));
    EXPECT_DOUBLE_EQ(match->score, 0.25 + (0 * 0.15) / 2.0 + (0 * 0.12) / 1.0 - 0.125 * 0.05 - (3.0 / 8.0) * 0.05);

    // The late-start penalty is fully lost from position 8 onward.
    auto late = matchText("zq", "aaaaaaaaazaq");
    ASSERT_TRUE(late);
    EXPECT_DOUBLE_EQ(late->score, 0.25 - 1.0 * 0.05 - (1.0 / 12.0) * 0.05);

    // The word-start-preferring walk picks "b" of "Bar" over the earlier "b" of "xbx".
    auto preferred = matchText("fb", "foo xbx Bar");
    ASSERT_TRUE(preferred);
    EXPECT_EQ(preferred->indices, (std::vector<int> { 0, 8 }));
}

TEST(FuzzyMatcher, NothingMatchesAnEmptyQueryOrTarget)
{
    for (auto query : { "", "   ", "\t" }) {
        SCOPED_TRACE(query);
        EXPECT_FALSE(matchText(query, "abc"));
        EXPECT_FALSE(matchText(query, ""));
    }
    EXPECT_FALSE(matchText("a", ""));
    EXPECT_FALSE(matchText("abc", "ab"));
    EXPECT_FALSE(matchText("ba", "ab"));
}

TEST(FuzzyMatcher, ArenaTargetsAgreeWithPreparedRecords)
{
    const char* targets[] = { "Visual Studio Code", "Safari App", "FileVault2Backup", "x-ray", "/usr/share/doc/libpython3.11",
        "HTTPServer", "a - b", "Café Crème", "Zürich Straße", "naïve façade", "日本語 テキスト", "Ωmega Σigma" };
    const char* queries[] = { "vsc", "code", "app", "fv2b", "ray", "usrshrdoc", "server", "a b", "cafe", "creme", "zur",
        "strasse", "naive", "本", "omega", "e", "zzz" };
    for (auto targetText : targets) {
        auto prepared = makeMatchText(targetText);
        std::vector<std::uint64_t> bits(prepared.chars.size() / 64 + 1);
        for (std::size_t index = 0; index < prepared.wordStart.size(); ++index)
            bits[index / 64] |= std::uint64_t { prepared.wordStart[index] } << (index % 64);
        std::vector<std::uint8_t> narrow(prepared.chars.begin(), prepared.chars.end());
        bool fitsInBytes = std::all_of(prepared.chars.begin(), prepared.chars.end(), [](char32_t c) { return c < 0x100; });
        for (auto queryText : queries) {
            SCOPED_TRACE(std::string(queryText) + " / " + targetText);
            auto pattern = FuzzyMatcher::makePattern(makeQueryText(queryText));
            std::vector<int> expectedIndices;
            auto expected = FuzzyMatcher::score(pattern, FuzzyMatcher::MatchTextTarget(prepared), 0, &expectedIndices);
            EXPECT_EQ(FuzzyMatcher::contains(pattern, FuzzyMatcher::MatchTextTarget(prepared)), expected.has_value());
            auto check = [&](const auto& target) {
                std::vector<int> indices;
                auto found = FuzzyMatcher::score(pattern, target, 0, &indices);
                EXPECT_EQ(found, expected);
                if (found) {
                    EXPECT_EQ(indices, expectedIndices);
                }
            };
            check(FuzzyMatcher::FoldedTarget<char32_t>(prepared.chars.data(), static_cast<std::uint32_t>(prepared.chars.size()), bits.data(), 0));
            if (fitsInBytes)
                check(FuzzyMatcher::FoldedTarget<std::uint8_t>(narrow.data(), static_cast<std::uint32_t>(narrow.size()), bits.data(), 0));
            if (isASCII(targetText))
                check(FuzzyMatcher::AsciiTarget(targetText, static_cast<std::uint32_t>(std::strlen(targetText))));
        }
    }
}

TEST(FuzzyMatcher, FloorPrunesOnlyBelowTheScore)
{
    auto pattern = FuzzyMatcher::makePattern(makeQueryText("app"));
    auto target = makeMatchText("Safari App");
    double score = 0.8 + 0.08 * (3.0 / 10.0);
    EXPECT_EQ(FuzzyMatcher::score(pattern, FuzzyMatcher::MatchTextTarget(target), score), score);
    EXPECT_FALSE(FuzzyMatcher::score(pattern, FuzzyMatcher::MatchTextTarget(target), std::nextafter(score, 1.0)));
    EXPECT_GE(FuzzyMatcher::bestPossibleScore(pattern, 10), score);
}
