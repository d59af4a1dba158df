#include "Search/LineFilter.h"

#include "Search/Ranker.h"
#include "Support/Text.h"

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

using namespace zeph;

namespace {

// More results than there are lines.
constexpr int everything = 1000;

// Line number (as the id), title and score of each result, best first.
using Rows = std::vector<std::tuple<std::string, std::string, double>>;

// ASCII lines, lines whose folded characters fit in a byte and lines that need four bytes,
// with empty lines, CR LF endings, duplicates and lines longer than a 64-bit word of word starts.
const std::vector<std::string> lines = {
    "Safari",
    "Visual Studio Code",
    "",
    "Safari App",
    "code",
    "CODE",
    "Terminal",
    "Café Crème",
    "cafe",
    "Zürich",
    "/usr/share/doc/libpython3.11/copyright",
    "x-ray",
    "FileVault2Backup",
    "日本語",
    "a b c",
    "abc",
    "vscode",
    "Code Review Notes",
    "codec",
    "decode",
    "",
    "encoder",
    "Cafe\u0301 Noir",
    "ab",
    "a-b",
    "code",
    "Ωmega Σigma",
    "naïve façade",
    "Straße",
    "\U0001F468\u200D\U0001F469\u200D\U0001F467 family",
    "\U0001F1EB\U0001F1F7 Paris",
    "HTTPServer",
    "snake_case_code.cpp",
    "Übersicht über alle Dokumente und Codebeispiele im Projektordner 2024",
    "a very long line of plain text that goes well past sixty four characters and ends with code",
    "Éric's Code",
    "cod",
    "c o d e",
    "Codex",
    "\u1112\u1161\u11AB code",
    "e\u0301",
    "é",
    // Latin after a long ASCII beginning, and bytes that look Latin but are not valid UTF-8.
    "/home/ada/Projects/Café Photos/code",
    "caf\xC3",
    "\xC0\xAF code",
    "code \xCB",
    "Café\rCode",
    "Café Photos\r/code/notes in a line longer than a word",
    "Ǆemal code",
};

// Every third line ends in CR LF, and the last line has no ending at all.
std::string input()
{
    std::string text;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        text += lines[index];
        if (index + 1 < lines.size())
            text += index % 3 == 2 ? "\r\n" : "\n";
    }
    return text;
}

// The same lines ranked the launcher's way: items of kind file, identified by line number, with
// the titles repaired as the filter shows them.
Rows ranked(const std::string& query, int limit, double minimumScore,
    const std::vector<std::string>& source = lines)
{
    std::vector<IndexedItem> items;
    for (std::size_t index = 0; index < source.size(); ++index) {
        if (!source[index].empty()) {
            items.push_back(makeIndexedItem(SearchItem {
                .id = std::to_string(index + 1), .title = source[index], .kind = ItemKind::file }));
        }
    }
    Rows rows;
    Ranker ranker { .learningWeight = 0.9, .minimumMatchScore = minimumScore };
    for (auto& result : ranker.rank(items, makeQueryText(query), {}, limit))
        rows.emplace_back(result.item.id, sanitizedUTF8(result.item.title), result.score);
    return rows;
}

Rows filtered(LineFilter& filter, const std::string& query, std::optional<std::size_t> limit,
    double minimumScore = 0.2, unsigned threads = 1)
{
    Rows rows;
    for (auto& hit : filter.search(makeQueryText(query),
             { .limit = limit, .minimumScore = minimumScore, .threads = threads })) {
        rows.emplace_back(std::to_string(filter.lineNumber(hit.item)),
            std::string(filter.title(hit.item)), hit.score);
    }
    return rows;
}

const char* const queries[] = { "code", "c", "cod", "co de", "cafe", "a b", "vsc", "sa",
    "usrshrdoc", "zur", "本", "e", "é", "zzqx", "omega", "strasse", "naive",
    "\U0001F468\u200D\U0001F469\u200D\U0001F467", "한", "ü", "uber", "paris", "ltc" };

} // namespace

TEST(LineFilter, LinesKeepTheirNumbersEndingsAndRepairs)
{
    LineFilter filter { InputBuffer(std::string("\n\none\r\n\n\r\nt\xFFo\r\n\nlast\r")) };
    ASSERT_EQ(filter.size(), 3u);
    EXPECT_EQ(filter.title(0), "one");
    EXPECT_EQ(filter.title(1), "t\uFFFDo");
    EXPECT_EQ(filter.title(2), "last\r");
    EXPECT_EQ(filter.lineNumber(0), 3u);
    EXPECT_EQ(filter.lineNumber(1), 6u);
    EXPECT_EQ(filter.lineNumber(2), 8u);
    EXPECT_EQ(filter.characterCount(1), 3u);
    // The repaired line is found by the repaired text.
    EXPECT_EQ(filtered(filter, "T\xFFO", {}), (Rows { { "6", "t\uFFFDo", 1.0 } }));

    LineFilter empty { InputBuffer(std::string("\n\r\n\n")) };
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_TRUE(filtered(empty, "a", {}).empty());
}

TEST(LineFilter, ResultsAgreeWithTheRanker)
{
    LineFilter filter { InputBuffer(input()) };
    ASSERT_EQ(filter.size(), lines.size() - 2);
    for (double minimumScore : { 0.2, 0.0 }) {
        for (auto query : queries) {
            for (int limit : { 1, 3, everything }) {
                SCOPED_TRACE(std::string(query) + ", limit " + std::to_string(limit) + ", minimum "
                    + std::to_string(minimumScore));
                filter.forgetPreviousQuery();
                auto expected = ranked(query, limit, minimumScore);
                auto limitOption
                    = limit == everything ? std::nullopt : std::optional<std::size_t>(limit);
                EXPECT_EQ(filtered(filter, query, limitOption, minimumScore), expected);
            }
        }
    }
}

TEST(LineFilter, NarrowingGivesTheSameResultsAsAFreshSearch)
{
    LineFilter filter { InputBuffer(input()) };
    Rows typed;
    for (auto query : { "c", "co", "cod" })
        typed = filtered(filter, query, {});
    filter.forgetPreviousQuery();
    EXPECT_EQ(typed, filtered(filter, "cod", {}));
    EXPECT_EQ(typed, ranked("cod", everything, 0.2));

    // Changes that do not narrow look at every line again.
    filtered(filter, "cod", {});
    EXPECT_EQ(filtered(filter, "x", {}), ranked("x", everything, 0.2));
    filtered(filter, "cod", {});
    EXPECT_EQ(filtered(filter, "co", {}), ranked("co", everything, 0.2));
    filtered(filter, "code", {});
    EXPECT_EQ(filtered(filter, "cafe", {}), ranked("cafe", everything, 0.2));

    // A limit prunes what is shown, never what the next keystroke may narrow from.
    filtered(filter, "c", 1);
    EXPECT_EQ(filtered(filter, "co", {}), ranked("co", everything, 0.2));
    filtered(filter, "e", 1, 0.9);
    EXPECT_EQ(filtered(filter, "ed", {}), ranked("ed", everything, 0.2));
    // The compacted query alone decides narrowing, so inner spaces may come and go.
    filtered(filter, "cod", {});
    EXPECT_EQ(filtered(filter, "co d", {}), ranked("co d", everything, 0.2));
    // A search that is answered without looking leaves the next one right.
    filtered(filter, "zzqx", 0);
    filtered(filter, "", {});
    EXPECT_EQ(filtered(filter, "code", {}), ranked("code", everything, 0.2));
}

TEST(LineFilter, AnAnswerWithRoomForSomeIsTheWholeAnswersBeginning)
{
    // Enough lines that the search first guesses, from a sample, how far down the stages it must
    // go; queries whose best band holds a few, some or many of them, so that guesses go both ways.
    // Lines are bounded by their length and first character, which some of them begin with a
    // letter beyond ASCII (Latin or not) or with a cluster that folds to one in ASCII.
    const char* const words[] = { "sample", "Safari", "essay", "share", "Été", "cafe", "usr",
        "Terminal", "set", "settings", "doc", "libpython", "Zoë", "a", "b", "xerox", "E\u0301cole",
        "\u03A9mega", "FileVault2Backup", "HTTPServer", "snake_case.txt" };
    // Every third line holds "qz", and it begins only those that an evenly spread sample of 512
    // sees: the guess for "qz" goes too far up, and what it passed over must still be found.
    constexpr std::uint32_t lineCount = 12'000;
    std::vector<bool> sampled(lineCount);
    for (std::uint32_t sample = 0; sample < 512; ++sample)
        sampled[sample * lineCount / 512] = true;
    std::string text;
    for (std::uint32_t index = 0; index < lineCount; ++index) {
        if (index % 3 == 0)
            text += sampled[index] ? "qz " : "a qz ";
        auto word = [&](std::uint32_t salt) {
            return std::string(words[(index * 2654435761u + salt * 40503u) % std::size(words)]);
        };
        auto number = std::to_string(index * 7919 % 10'007);
        switch (index % 5) {
        case 0:
            text += "/usr/share/" + word(1) + "/" + word(2) + number + ".txt\n";
            break;
        case 1:
            text += word(3) + " " + word(4) + " " + number + "\n";
            break;
        case 2:
            text += word(5) + word(6) + number + "\n";
            break;
        case 3:
            text += number + "-" + word(7) + "_" + word(8) + "\n";
            break;
        default:
            // Past a short line's 64 characters, ASCII or Latin.
            text += "/home/ada/Projects/" + word(9) + "/usr/share/doc/" + word(10) + "/" + word(11)
                + "-" + word(12) + number + ".txt\n";
            break;
        }
    }
    LineFilter filter { InputBuffer(std::move(text)) };
    // Then again once the lines' word starts, pairs of characters and characters held twice are
    // known, which pass over lines that cannot reach a band or cannot match: queries that begin
    // with a separator, or hold one, or whose letters stand at word starts only as an acronym, or
    // that hold a letter twice; all against what the unprepared filter finds.
    std::map<std::string, Rows> wholes;
    for (bool prepared : { false, true }) {
        if (prepared)
            filter.prepareForTyping();
        for (auto query : { "e", "s", "sa", "sample", "cafe", "ete", "set", "usrshr", "a b", "sf",
                 "zoe", "libpy", "xsx", "qz", "ecole", "\u03C9", "omega", "fvb", "vault2", "-s",
                 "_c", "/usr", "2b", "hs", "ts", "e.t", "sett", "ss", "ee", "ttt", "a a",
                 "usrshrdoc", "hdoczoe", "prjete" }) {
            filter.forgetPreviousQuery();
            if (!prepared)
                wholes[query] = filtered(filter, query, {});
            auto& whole = wholes[query];
            EXPECT_EQ(filtered(filter, query, {}), whole) << query;
            for (std::size_t limit : { 1, 7, 64, 256, 3000 }) {
                SCOPED_TRACE(std::string(query) + ", limit " + std::to_string(limit)
                    + (prepared ? ", prepared" : ""));
                filter.forgetPreviousQuery();
                auto expected = whole;
                expected.resize(std::min(limit, expected.size()));
                EXPECT_EQ(filtered(filter, query, limit), expected);
            }
        }
        // A first look may put a line aside before matching it; the next keystroke still narrows
        // from it.
        const std::pair<const char*, const char*> typed[]
            = { { "e", "es" }, { "s", "sa" }, { "sa", "sam" }, { "t", "te" }, { "q", "qz" } };
        for (auto [first, next] : typed) {
            SCOPED_TRACE(std::string(first) + " then " + next);
            filter.forgetPreviousQuery();
            auto fresh = filtered(filter, next, {});
            filter.forgetPreviousQuery();
            filtered(filter, first, 1);
            EXPECT_EQ(filtered(filter, next, {}), fresh);
        }
    }
}

TEST(LineFilter, LongRunsOfTiesAreInOrderOfTitleThenId)
{
    // Hundreds of lines a run of equal scores and counts, sharing a long beginning: tails of a few
    // letters that differ in case, in accents, by a NUL, or not at all, and keys that end at every
    // depth within a word of eight bytes. Thousands of hits are put in order by counting, the few
    // hundred of a search with a limit by comparing.
    const std::string letters[] = { "a", "A", "b", "/", "\u00E9", "\u00C9", std::string(1, '\0') };
    std::vector<std::string> source;
    std::string text;
    for (std::uint32_t index = 0; index < 6000; ++index) {
        auto line = std::string("x/Shared/Beginning/Of/Every/Path/").substr(0, 26 + index % 9);
        for (auto letter = index * 2654435761u; line.size() < 40 + index % 3; letter /= 7)
            line += letters[letter % 7];
        source.push_back(line);
        text += line + "\n";
    }
    LineFilter filter { InputBuffer(std::move(text)) };
    EXPECT_EQ(filtered(filter, "x", {}), ranked("x", 10'000, 0.2, source));
    EXPECT_EQ(filtered(filter, "x", {}, 0.2, 2), ranked("x", 10'000, 0.2, source));
    EXPECT_EQ(filtered(filter, "x", 300), ranked("x", 300, 0.2, source));
}

TEST(LineFilter, NothingIsFoundForNoRoomOrAnEmptyQuery)
{
    LineFilter filter { InputBuffer(input()) };
    EXPECT_TRUE(filtered(filter, "code", 0).empty());
    EXPECT_TRUE(filtered(filter, "", {}).empty());
    EXPECT_TRUE(filtered(filter, " \t ", {}).empty());
}

TEST(LineFilter, ThreadsChangeNothing)
{
    // Enough lines that the search splits across two threads; a mix of ASCII and folded lines.
    std::string text;
    for (int index = 0; index < 120'000; ++index) {
        auto number = std::to_string(index * 7919 % 100'003);
        text += index % 3 ? "/srv/data/" + number + "/code.txt\n"
                          : "/srv/Café/" + number + "/notes.md\n";
    }
    LineFilter filter { InputBuffer(std::move(text)) };
    for (auto query : { "code", "cafe 12", "e", "sd" }) {
        for (std::optional<std::size_t> limit :
            { std::optional<std::size_t> {}, std::optional<std::size_t> { 50 } }) {
            SCOPED_TRACE(std::string(query) + (limit ? ", limit 50" : ", no limit"));
            filter.forgetPreviousQuery();
            auto single = filter.search(makeQueryText(query), { .limit = limit, .threads = 1 });
            filter.forgetPreviousQuery();
            auto both = filter.search(makeQueryText(query), { .limit = limit, .threads = 2 });
            EXPECT_FALSE(single.empty());
            EXPECT_EQ(both, single);
        }
    }
}

TEST(LineFilter, PreparingInStretchesChangesNothing)
{
    // Large enough to be prepared in stretches, and then for typing with its Latin lines folded
    // in stretches: every kind of line, with empty lines and CR LF endings on either side of where
    // stretches may meet.
    const std::string kinds[] = { "/srv/data/{}/code.txt", "/srv/Caf\u00E9/{}/notes.md",
        "/srv/data/{}/zoe.txt", "/srv/Caf\u00E9/{}/bad.md", "Zo\u00EB {} \u0150z", "",
        "/srv/data/{}/code.txt", "/srv/Caf\u00E9/{}/notes.md", "\u65E5\u672C {} code",
        "cafe\u0301 {}", "bad \xFF{} byte", "\U0001F1EB\U0001F1F7 {}" };
    std::string text;
    for (std::size_t index = 0; text.size() < (std::size_t { 5 } << 20); ++index) {
        auto line = kinds[index % std::size(kinds)];
        if (auto slot = line.find("{}"); slot != std::string::npos)
            line.replace(slot, 2, std::to_string(index * 7919 % 100'003));
        text += line + (index % 5 ? "\n" : "\r\n");
    }
    LineFilter whole { InputBuffer(std::string(text)), 1 };
    LineFilter stretched { InputBuffer(std::move(text)), 2 };
    ASSERT_EQ(stretched.size(), whole.size());
    for (std::uint32_t item = 0; item < whole.size(); item += 97) {
        ASSERT_EQ(stretched.title(item), whole.title(item));
        ASSERT_EQ(stretched.lineNumber(item), whole.lineNumber(item));
        ASSERT_EQ(stretched.characterCount(item), whole.characterCount(item));
    }
    const char* const searched[]
        = { "code", "cafe 12", "zoe oz", "\u65E5", "bad", "\U0001F1EB\U0001F1F7 5", "srvcafnot" };
    std::vector<Rows> expected;
    for (auto query : searched) {
        SCOPED_TRACE(query);
        expected.push_back(filtered(whole, query, {}));
        EXPECT_FALSE(expected.back().empty());
        EXPECT_EQ(filtered(stretched, query, {}), expected.back());
    }
    auto pattern = FuzzyMatcher::makePattern(makeQueryText("srvcafnot"));
    std::vector<std::optional<Match>> highlights;
    for (std::uint32_t item = 0; item < whole.size(); item += 97)
        highlights.push_back(whole.match(pattern, item));
    whole.prepareForTyping(1);
    stretched.prepareForTyping(2);
    for (auto* filter : { &whole, &stretched }) {
        for (std::uint32_t item = 0; item < whole.size(); item += 97) {
            ASSERT_EQ(filter->title(item), stretched.title(item));
            ASSERT_EQ(filter->match(pattern, item), highlights[item / 97]);
        }
        for (std::size_t index = 0; index < std::size(searched); ++index) {
            SCOPED_TRACE(std::string(searched[index]) + ", prepared");
            filter->forgetPreviousQuery();
            EXPECT_EQ(filtered(*filter, searched[index], {}), expected[index]);
        }
    }
}

TEST(LineFilter, HighlightsAreThoseOfThePreparedTitle)
{
    LineFilter filter { InputBuffer(input()) };
    for (auto query : queries) {
        auto pattern = FuzzyMatcher::makePattern(makeQueryText(query));
        for (std::uint32_t item = 0; item < filter.size(); ++item) {
            SCOPED_TRACE(std::string(query) + " / " + std::string(filter.title(item)));
            EXPECT_EQ(filter.match(pattern, item),
                FuzzyMatcher::match(makeQueryText(query), makeMatchText(filter.title(item))));
        }
    }
}
