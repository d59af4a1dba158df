#include "Search/FuzzyMatcher.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace zeph;

namespace {

std::optional<Match> matchText(const std::string& query, const std::string& target)
{
    return FuzzyMatcher::match(makeQueryText(query), makeMatchText(target));
}

std::vector<int> positions(int first, int last)
{
    std::vector<int> values;
    for (int value = first; value <= last; ++value)
        values.push_back(value);
    return values;
}

struct Expected {
    const char* query;
    std::string target;
    double score;
    std::vector<int> indices;
};

// One case per stage boundary worth guarding; the scores are the band formulas written out.
const std::vector<Expected>& stageCases()
{
    static const std::vector<Expected> cases = {
        // Exact: equal up to case and diacritics, every position highlighted.
        { "CAFÉ", "Cafe", 1.0, positions(0, 3) },
        { "cafe", "Café", 1.0, positions(0, 3) },
        { "Cafe\u0301", "CAFÉ", 1.0, positions(0, 3) },
        // Prefix.
        { "sa", "Safari", 0.9 + 0.08 * (2.0 / 6.0), { 0, 1 } },
        { "cafe", "Café ", 0.9 + 0.08 * (4.0 / 5.0), positions(0, 3) },
        { "a b", "a bc", 0.9 + 0.08 * (3.0 / 4.0), positions(0, 2) },
        // A later word start never improves on the prefix.
        { "sa", "sa sa", 0.9 + 0.08 * (2.0 / 5.0), { 0, 1 } },
        // Word start, which may end at the very last character.
        { "app", "Safari App", 0.8 + 0.08 * (3.0 / 10.0), { 7, 8, 9 } },
        { "code", "Visual Studio Code", 0.8 + 0.08 * (4.0 / 18.0), positions(14, 17) },
        { "2b", "FileVault2Backup", 0.8 + 0.08 * (2.0 / 16.0), { 9, 10 } },
        { "b c", "a b c", 0.8 + 0.08 * (3.0 / 5.0), positions(2, 4) },
        // The first occurrence is inside a word; the later one at a word start wins.
        { "app", "Happy App", 0.8 + 0.08 * (3.0 / 9.0), { 6, 7, 8 } },
        // Acronym: word starts may be skipped, the letters must come in order.
        { "vs", "Visual Studio Code", 0.72 + 0.06 * (2.0 / 3.0), { 0, 7 } },
        { "vsc", "Visual Studio Code", 0.72 + 0.06 * (3.0 / 3.0), { 0, 7, 14 } },
        { "vc", "Visual Studio Code", 0.72 + 0.06 * (2.0 / 3.0), { 0, 14 } },
        { "fvb", "FileVault2Backup", 0.72 + 0.06 * (3.0 / 4.0), { 0, 4, 10 } },
        { "a b", "a-b", 0.72 + 0.06 * (2.0 / 2.0), { 0, 2 } },
        // The acronym stage comes before a plain substring at 1.
        { "ab", "Xab Alpha Beta", 0.72 + 0.06 * (2.0 / 3.0), { 4, 10 } },
        // Substring: the first occurrence, anywhere.
        { "ode", "Visual Studio Code", 0.62 + 0.05 * (3.0 / 18.0), positions(15, 17) },
        { "afari", "Safari", 0.62 + 0.05 * (5.0 / 6.0), positions(1, 5) },
        { "pp", "xppyypp", 0.62 + 0.05 * (2.0 / 7.0), { 1, 2 } },
        { "o c", "Studio Code", 0.62 + 0.05 * (3.0 / 11.0), positions(5, 7) },
        // Scattered: the query is longer than the target, but its compact form is not.
        { "a b", "ab", 0.25 + (1 * 0.15) / 2.0 + (1 * 0.12) / 1.0, { 0, 1 } },
        { "a b c", "abc", 0.25 + (1 * 0.15) / 3.0 + (2 * 0.12) / 2.0, { 0, 1, 2 } },
        { "fb", "xfooxbar",
            0.25 - std::min(1 * 0.125, 1.0) * 0.05 - std::min(3.0 / 8.0, 1.0) * 0.05, { 1, 5 } },
        // The word-start-preferring walk takes the "B" at 5 over the plain "b" at 3, and scores
        // higher.
        { "ab", "xaxbxB",
            0.25 + (1 * 0.15) / 2.0 - std::min(1 * 0.125, 1.0) * 0.05
                - std::min(3.0 / 6.0, 1.0) * 0.05,
            { 1, 5 } },
        // Here the preferring walk leaves the run "bc" for the "B" at 6; the plain walk scores
        // strictly higher.
        { "abc", "xaxbcxBxc",
            0.25 + (1 * 0.12) / 2.0 - std::min(1 * 0.125, 1.0) * 0.05
                - std::min(1.0 / 9.0, 1.0) * 0.05,
            { 1, 3, 4 } },
        // Both walks score the same (plain: 1, 2, 5); the preferring one is kept.
        { "aab", "xaAA-baB",
            0.25 + (2 * 0.15) / 3.0 + (1 * 0.12) / 2.0 - std::min(2 * 0.125, 1.0) * 0.05
                - std::min(1.0 / 8.0, 1.0) * 0.05,
            { 2, 3, 5 } },
        // Starting late costs up to position 8, and no more after it.
        { "zq", "aaaaaaazaq",
            0.25 - std::min(7 * 0.125, 1.0) * 0.05 - std::min(1.0 / 10.0, 1.0) * 0.05, { 7, 9 } },
        { "zq", "aaaaaaaazaq",
            0.25 - std::min(8 * 0.125, 1.0) * 0.05 - std::min(1.0 / 11.0, 1.0) * 0.05, { 8, 10 } },
        // The latest start and a wide spread still stay above the lowest score of 0.1.
        { "zq", std::string(50, 'a') + "z" + std::string(60, 'a') + "q",
            0.25 - std::min(50 * 0.125, 1.0) * 0.05 - std::min(60.0 / 112.0, 1.0) * 0.05,
            { 50, 111 } },
    };
    return cases;
}

// The same target in the three shapes that indexes keep, beside the prepared record.
struct Shapes {
    explicit Shapes(const std::string& text)
        : prepared(makeMatchText(text))
    {
        auto count = prepared.chars.size();
        // Start the bits inside a word, as a line in the middle of an arena does.
        bits.assign((firstBit + count) / 64 + 2, 0);
        for (std::size_t index = 0; index < count; ++index) {
            if (prepared.wordStart[index])
                bits[(firstBit + index) / 64] |= std::uint64_t { 1 } << ((firstBit + index) % 64);
        }
        fitsInBytes = std::all_of(
            prepared.chars.begin(), prepared.chars.end(), [](char32_t c) { return c < 0x100; });
        narrow.assign(prepared.chars.begin(), prepared.chars.end());
        // A prepared text counts CR LF as one character; the byte-wise target never sees one.
        isPlainASCII = isASCII(text) && text.find("\r\n") == std::string::npos;
        // Bytes past the line that a block load reads, which must never count as its own.
        followed = text + "AaEeSsXx-/ 12";
    }
    std::uint32_t count() const { return static_cast<std::uint32_t>(prepared.chars.size()); }

    static constexpr std::uint64_t firstBit = 61;
    MatchText prepared;
    std::vector<std::uint64_t> bits {};
    std::vector<std::uint8_t> narrow {};
    std::string followed {};
    bool fitsInBytes = false;
    bool isPlainASCII = false;
};

// Calls `check` with each target shape that can hold `shapes`, made for `pattern`.
template <typename Check>
void forEachShape(const Shapes& shapes, const FuzzyMatcher::Pattern& pattern, Check&& check)
{
    {
        SCOPED_TRACE("folded, four bytes a character");
        check(FuzzyMatcher::FoldedTarget<char32_t>(
            shapes.prepared.chars.data(), shapes.count(), shapes.bits.data(), Shapes::firstBit));
    }
    if (shapes.fitsInBytes) {
        SCOPED_TRACE("folded, one byte a character");
        check(FuzzyMatcher::FoldedTarget<std::uint8_t>(
            shapes.narrow.data(), shapes.count(), shapes.bits.data(), Shapes::firstBit));
    }
    if (shapes.isPlainASCII) {
        SCOPED_TRACE("ASCII bytes");
        check(FuzzyMatcher::AsciiTarget(shapes.prepared.original.data(), shapes.count()));
    }
    if (shapes.isPlainASCII && shapes.count() <= FuzzyMatcher::ShortAsciiTarget::maxCount) {
        {
            SCOPED_TRACE("short ASCII bytes, at the end of the input");
            check(FuzzyMatcher::ShortAsciiTarget(
                shapes.prepared.original.data(), shapes.count(), shapes.count(), pattern));
        }
        SCOPED_TRACE("short ASCII bytes, with more input after them");
        check(FuzzyMatcher::ShortAsciiTarget(
            shapes.followed.data(), shapes.count(), shapes.followed.size(), pattern));
    }
}

// Scores the target, expecting the score and the indices of `expected`.
template <typename Target>
std::optional<double> expectMatch(const FuzzyMatcher::Pattern& pattern, const Target& target,
    const std::optional<Match>& expected)
{
    std::vector<int> indices;
    auto score = FuzzyMatcher::score(pattern, target, 0, &indices);
    EXPECT_EQ(score.has_value(), expected.has_value());
    if (score && expected) {
        EXPECT_EQ(*score, expected->score);
        EXPECT_EQ(indices, expected->indices);
    }
    return score;
}

} // namespace

TEST(FuzzyMatcher, EachStageScoresInItsBandWithItsIndices)
{
    for (auto& testCase : stageCases()) {
        SCOPED_TRACE(std::string(testCase.query) + " / " + testCase.target);
        auto match = matchText(testCase.query, testCase.target);
        ASSERT_TRUE(match);
        EXPECT_DOUBLE_EQ(match->score, testCase.score);
        EXPECT_EQ(match->indices, testCase.indices);
    }
}

TEST(FuzzyMatcher, NothingMatchesAnEmptyQueryOrTarget)
{
    for (auto query : { "", "   ", "\t", "\u3000 " }) {
        SCOPED_TRACE(query);
        EXPECT_FALSE(matchText(query, "abc"));
        EXPECT_FALSE(matchText(query, ""));
        EXPECT_FALSE(matchText(query, " "));
    }
    for (auto query : { "a", "a b", "é" }) {
        SCOPED_TRACE(query);
        EXPECT_FALSE(matchText(query, ""));
    }
}

TEST(FuzzyMatcher, QueryThatIsNoSubsequenceNeverMatches)
{
    struct Case {
        const char* query;
        const char* target;
    };
    const Case cases[] = {
        { "abc", "ab" },
        { "a b c d", "abc" },
        { "ba", "ab" },
        { "sv", "Visual Studio Code" },
        // A tab inside the query is a character to find, unlike a space.
        { "a\tb", "a b" },
    };
    for (auto& testCase : cases) {
        SCOPED_TRACE(std::string(testCase.query) + " / " + testCase.target);
        EXPECT_FALSE(matchText(testCase.query, testCase.target));
    }
    ASSERT_TRUE(matchText("a\tb", "A\tB"));
    EXPECT_EQ(matchText("a\tb", "A\tB")->score, 1.0);
}

TEST(FuzzyMatcher, ScatteredMatchFallsBackToThePlainWalk)
{
    // The preferring walk takes the "a" at the word start 5 and then finds no "b" after it;
    // the plain walk still finds 1, 3, and the target matches through it.
    auto match = matchText("ab", "xaxb a");
    ASSERT_TRUE(match);
    EXPECT_DOUBLE_EQ(
        match->score, 0.25 - std::min(1 * 0.125, 1.0) * 0.05 - std::min(1.0 / 6.0, 1.0) * 0.05);
    EXPECT_EQ(match->indices, (std::vector<int> { 1, 3 }));
}

TEST(FuzzyMatcher, IndexShapesScoreExactlyLikePreparedRecords)
{
    std::vector<std::string> targets;
    for (auto& testCase : stageCases())
        targets.push_back(testCase.target);
    const char* more[] = { "/usr/share/doc/libpython3.11/copyright", "HTTPServer", "Zürich Straße",
        "naïve façade", "日本語 テキスト", "Ωmega Σigma", "Cafe\u0301 Noir", "a\r\nb", "" };
    for (auto text : more)
        targets.push_back(text);
    // Long enough that word starts lie in several 64-bit words.
    targets.push_back("Some Very Long Title With Many Words That Goes Past Sixty Four Characters "
                      "And Ends In Code");
    targets.push_back(std::string(70, 'x') + "Zeta Été end");

    std::vector<std::string> queries;
    for (auto& testCase : stageCases())
        queries.push_back(testCase.query);
    for (auto query : { "usrshrdoc", "server", "zur", "strasse", "naive", "本", "omega", "e", "zzz",
             "cn", "a b", "swc", "code", "ete", "zee", "x", " ", "" })
        queries.push_back(query);

    for (auto& text : targets) {
        Shapes shapes(text);
        for (auto& queryText : queries) {
            SCOPED_TRACE(queryText + " / " + text);
            auto pattern = FuzzyMatcher::makePattern(makeQueryText(queryText));
            auto expected = FuzzyMatcher::match(makeQueryText(queryText), shapes.prepared);
            forEachShape(shapes, pattern, [&](const auto& target) {
                auto score = expectMatch(pattern, target, expected);
                // Without a place for indices, the score is the same.
                EXPECT_EQ(FuzzyMatcher::score(pattern, target), score);
            });
            // Knowing the first character never bounds below a real score.
            if (expected && shapes.count() > 0) {
                EXPECT_GE(FuzzyMatcher::bestPossibleScore(
                              pattern, shapes.count(), shapes.prepared.chars[0]),
                    expected->score);
            }
        }
    }
}

TEST(FuzzyMatcher, FloorsAndStartingBandsKeepTheScoreOrLeaveIt)
{
    for (auto& testCase : stageCases()) {
        SCOPED_TRACE(std::string(testCase.query) + " / " + testCase.target);
        Shapes shapes(testCase.target);
        auto pattern = FuzzyMatcher::makePattern(makeQueryText(testCase.query));
        auto expected = FuzzyMatcher::match(makeQueryText(testCase.query), shapes.prepared);
        ASSERT_TRUE(expected);
        // Indexes prune on this bound before matching; it must never be below a real score.
        EXPECT_GE(FuzzyMatcher::bestPossibleScore(pattern, shapes.count()), expected->score);
        std::size_t scoredBand = 0;
        while (expected->score < FuzzyMatcher::bandFloors[scoredBand])
            ++scoredBand;
        ASSERT_LE(expected->score, FuzzyMatcher::bandCeilings[scoredBand]);
        auto check = [&](const auto& target) {
            EXPECT_EQ(FuzzyMatcher::score(pattern, target, expected->score), expected->score);
            EXPECT_FALSE(
                FuzzyMatcher::score(pattern, target, std::nextafter(expected->score, 2.0)));
            EXPECT_FALSE(FuzzyMatcher::score(pattern, target, 1.0 + 1e-9));
            // Starting at a later band skips only the bands before it: up to the score's own band
            // nothing changes, and past it a later stage scores less, or nothing does.
            for (std::size_t band = 0; band < FuzzyMatcher::bandCount; ++band) {
                SCOPED_TRACE(band);
                auto score = FuzzyMatcher::score(
                    pattern, target, 0, nullptr, static_cast<FuzzyMatcher::Band>(band));
                if (band <= scoredBand) {
                    EXPECT_EQ(score, expected->score);
                } else if (score) {
                    EXPECT_LE(*score, FuzzyMatcher::bandCeilings[band]);
                    EXPECT_LT(*score, expected->score);
                }
            }
        };
        check(FuzzyMatcher::MatchTextTarget(shapes.prepared));
        forEachShape(shapes, pattern, check);
    }
}

TEST(FuzzyMatcher, AnotherFirstCharacterBoundsLongTargetsBelowAWordStart)
{
    auto pattern = FuzzyMatcher::makePattern(makeQueryText("sa"));
    EXPECT_EQ(FuzzyMatcher::bestPossibleScore(pattern, 100, U's'),
        FuzzyMatcher::bestPossibleScore(pattern, 100));
    EXPECT_EQ(FuzzyMatcher::bestPossibleScore(pattern, 100, U'/'), 0.8 + 0.08 * (2.0 / 100.0));
    // Short of a word start's room, an acronym is the best left.
    EXPECT_EQ(FuzzyMatcher::bestPossibleScore(pattern, 2, U'x'), 0.78);
    EXPECT_EQ(FuzzyMatcher::bestPossibleScore(pattern, 1, U'x'), 0.0);
}

TEST(FuzzyMatcher, ContainsAgreesWithWhetherTheTargetMatches)
{
    const char* queries[]
        = { "a", "ab", "ba", "a b", "abc", "sv", "vs", "code", "xq", "é", "aab", "zq" };
    std::vector<std::string> targets
        = { "Visual Studio Code", "xaxb a", "ab", "a-b", "b-a", "Café", "zaq", "" };
    for (auto& testCase : stageCases())
        targets.push_back(testCase.target);
    for (auto& text : targets) {
        Shapes shapes(text);
        for (auto query : queries) {
            SCOPED_TRACE(std::string(query) + " / " + text);
            auto pattern = FuzzyMatcher::makePattern(makeQueryText(query));
            bool matches = FuzzyMatcher::match(makeQueryText(query), shapes.prepared).has_value();
            EXPECT_EQ(
                FuzzyMatcher::contains(pattern, FuzzyMatcher::MatchTextTarget(shapes.prepared)),
                matches);
            forEachShape(shapes, pattern, [&](const auto& target) {
                EXPECT_EQ(FuzzyMatcher::contains(pattern, target), matches);
            });
        }
    }
}

// Short ASCII lines count their word starts from masks of each class of byte: every pair of ASCII
// bytes, at the start of a line and across the boundary of two blocks of sixteen.
TEST(FuzzyMatcher, ShortAsciiTargetsCountWordStartsLikeTheirBytes)
{
    auto pattern = FuzzyMatcher::makePattern(makeQueryText("a"));
    for (unsigned previous = 0; previous < 0x80; ++previous) {
        for (unsigned current = 0; current < 0x80; ++current) {
            std::string pair { static_cast<char>(previous), static_cast<char>(current) };
            for (auto text : { pair, "aB1-" + pair + "zZ9 x0(Ab" + pair }) {
                SCOPED_TRACE(::testing::PrintToString(text));
                auto count = static_cast<std::uint32_t>(text.size());
                FuzzyMatcher::ShortAsciiTarget masks(text.data(), count, text.size(), pattern);
                ASSERT_EQ(masks.wordStartCount(),
                    FuzzyMatcher::AsciiTarget(text.data(), count).wordStartCount());
            }
        }
    }
}

// The scattered stage walks both ways at once, sharing picks while the two agree: random lines
// and queries over a few letters, cases, digits and separators give the same two walks as
// walking each way alone, on prepared records and on bytes.
TEST(FuzzyMatcher, BothScatteredWalksAtOnceAgreeWithEachWalkAlone)
{
    std::mt19937 random(23);
    auto pick = [&](const std::string& from, std::size_t length) {
        std::string text;
        while (text.size() < length)
            text += from[random() % from.size()];
        return text;
    };
    for (int round = 0; round < 5000; ++round) {
        auto text = pick("abAB1 -_/.", random() % 90);
        auto query = pick("abAB1 ", 1 + random() % 6);
        SCOPED_TRACE(query + " / " + text);
        auto pattern = FuzzyMatcher::makePattern(makeQueryText(query));
        auto check = [&](const auto& target) {
            using namespace FuzzyMatcher::Detail;
            auto both = walkBoth(pattern, target);
            ASSERT_EQ(both.plain, walkSubsequence(pattern, target, false, nullptr));
            ASSERT_EQ(both.preferring, walkSubsequence(pattern, target, true, nullptr));
        };
        auto prepared = makeMatchText(text);
        check(FuzzyMatcher::MatchTextTarget(prepared));
        auto count = static_cast<std::uint32_t>(text.size());
        check(FuzzyMatcher::AsciiTarget(text.data(), count));
        if (count <= FuzzyMatcher::ShortAsciiTarget::maxCount) {
            std::uint64_t wordStarts = 0;
            for (auto start : prepared.wordStarts)
                wordStarts |= std::uint64_t { 1 } << start;
            check(FuzzyMatcher::ShortAsciiTarget(text.data(), count, count, pattern));
            check(FuzzyMatcher::ShortAsciiTarget(text.data(), count, count, pattern, wordStarts));
        }
    }
}

// Long ASCII lines count their word starts and look for the query sixteen bytes at a time:
// random lines of up to 300 characters over every class of byte count and score as prepared
// records do, and hold the query as a search character by character finds, whether input follows
// them or not, and whether the classes at their word starts are given or not.
TEST(FuzzyMatcher, LongAsciiTargetsCountAndScoreLikePreparedRecords)
{
    std::mt19937 random(17);
    const std::string alphabet = "aAbBzZ09 -_/.@`~{\t";
    for (int round = 0; round < 1500; ++round) {
        std::string text;
        for (auto length = random() % 300; text.size() < length;)
            text += alphabet[random() % alphabet.size()];
        std::string query;
        for (auto length = 1 + random() % 9; query.size() < length;)
            query += "abz0 "[random() % 5];
        SCOPED_TRACE(query + " / " + text);
        auto prepared = makeMatchText(text);
        auto count = static_cast<std::uint32_t>(text.size());
        // What follows a line must not count as part of it.
        auto followed = text + std::string(round % 2 ? 0 : 20, "ab0"[round % 3]);
        FuzzyMatcher::AsciiTarget bytes(text.data(), count);
        ASSERT_EQ(bytes.wordStartCount(), prepared.wordStarts.size());
        std::uint64_t wordStartClasses = 0;
        for (auto start : prepared.wordStarts)
            wordStartClasses |= characterClassBit(prepared.chars[static_cast<std::size_t>(start)]);
        auto expected = FuzzyMatcher::match(makeQueryText(query), prepared);
        auto pattern = FuzzyMatcher::makePattern(makeQueryText(query));
        for (auto classes : { ~std::uint64_t { 0 }, wordStartClasses }) {
            FuzzyMatcher::AsciiTarget target(followed.data(), count, followed.size(), classes);
            ASSERT_EQ(FuzzyMatcher::contains(pattern, target),
                FuzzyMatcher::containsByFinding(pattern, bytes));
            expectMatch(pattern, target, expected);
        }
    }
}

// Short ASCII lines find the query's characters through bit masks, and characters past the
// query's first eight distinct ones through the bytes: random lines of up to 64 characters over a
// small alphabet, and queries that repeat characters, hold spaces or run past eight, score exactly
// as they do on the bytes alone, whether the word starts are worked out or given.
TEST(FuzzyMatcher, ShortAsciiTargetsScoreLikeTheirBytes)
{
    std::mt19937 random(11);
    // Bytes one case bit apart that are not letters, such as "@" and "`", must not match.
    const std::string alphabet = "aAbBcdeEsS -_/.xX1@`[{\x7f";
    auto pick = [&](const std::string& from, std::size_t length) {
        std::string text;
        for (std::size_t index = 0; index < length; ++index)
            text += from[random() % from.size()];
        return text;
    };
    for (int round = 0; round < 4000; ++round) {
        auto text = pick(alphabet, 1 + random() % FuzzyMatcher::ShortAsciiTarget::maxCount);
        auto query = pick(round % 5 == 0 ? "abcdefghijsx 1@" : "abse x`{_", 1 + random() % 10);
        SCOPED_TRACE(query + " / " + text);
        auto pattern = FuzzyMatcher::makePattern(makeQueryText(query));
        FuzzyMatcher::AsciiTarget bytes(text.data(), static_cast<std::uint32_t>(text.size()));
        // Some lines end the input, so that their last block is copied rather than loaded.
        auto followed = text + pick(alphabet, round % 3 == 0 ? 0 : 40);
        auto count = static_cast<std::uint32_t>(text.size());
        std::uint64_t wordStarts = 0;
        for (std::uint32_t position = 0; position < count; ++position)
            wordStarts |= std::uint64_t { bytes.isWordStart(position) } << position;
        for (auto given : { std::optional<std::uint64_t> {}, std::optional(wordStarts) }) {
            FuzzyMatcher::ShortAsciiTarget masks(
                followed.data(), count, followed.size(), pattern, given);
            for (std::uint32_t from = 0; from <= text.size(); ++from) {
                for (auto character : pattern.chars) {
                    ASSERT_EQ(masks.find(character, from), bytes.find(character, from));
                    ASSERT_EQ(masks.findPair(character, pattern.chars[0], from),
                        bytes.findPair(character, pattern.chars[0], from));
                    ASSERT_EQ(masks.findPair(pattern.chars[0], character, from),
                        bytes.findPair(pattern.chars[0], character, from));
                    ASSERT_EQ(masks.findWordStart(character, from),
                        FuzzyMatcher::Detail::findWordStart(bytes, character, from));
                }
                ASSERT_EQ(FuzzyMatcher::Detail::findOccurrence(pattern, masks, from),
                    FuzzyMatcher::Detail::findOccurrence(pattern, bytes, from));
            }
            ASSERT_EQ(masks.wordStartCount(), bytes.wordStartCount());
            ASSERT_EQ(FuzzyMatcher::contains(pattern, masks),
                FuzzyMatcher::containsByFinding(pattern, bytes));
            for (std::size_t band = 0; band < FuzzyMatcher::bandCount; ++band) {
                std::vector<int> expected;
                std::vector<int> indices;
                auto first = static_cast<FuzzyMatcher::Band>(band);
                ASSERT_EQ(FuzzyMatcher::score(pattern, masks, 0, &indices, first),
                    FuzzyMatcher::score(pattern, bytes, 0, &expected, first));
                ASSERT_EQ(indices, expected);
            }
        }
    }
    // A query as long as the longest short line stands at its start; a longer one nowhere.
    std::string line(FuzzyMatcher::ShortAsciiTarget::maxCount, 'a');
    auto count = static_cast<std::uint32_t>(line.size());
    for (auto length : { line.size(), line.size() + 6 }) {
        auto pattern = FuzzyMatcher::makePattern(makeQueryText(std::string(length, 'a')));
        FuzzyMatcher::ShortAsciiTarget masks(line.data(), count, line.size(), pattern);
        EXPECT_EQ(FuzzyMatcher::Detail::findOccurrence(pattern, masks, 0),
            length == line.size() ? 0 : count);
    }
}
