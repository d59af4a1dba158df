#include "Search/LineFilter.h"
#include "Search/Ranker.h"

#include <gtest/gtest.h>

using namespace zeph;

namespace {

const char* const lines[] = { "Safari", "Visual Studio Code", "", "Safari App", "code", "CODE", "Terminal", "Café Crème",
    "cafe", "Zürich", "/usr/share/doc/libpython3.11/copyright", "x-ray", "FileVault2Backup", "日本語", "a b c", "abc",
    "vscode", "Code Review Notes", "codec", "decode", "encoder", "Cafe\xCC\x81 Noir", "ab", "a-b" };

std::string joined()
{
    std::string text;
    for (auto line : lines)
        (text += line) += '\n';
    return text;
}

// The same lines ranked the launcher's way, as items of kind file identified by line number.
std::vector<std::pair<std::string, double>> ranked(const char* query, int limit)
{
    std::vector<IndexedItem> items;
    int number = 0;
    for (auto line : lines) {
        ++number;
        if (*line)
            items.push_back(makeIndexedItem(SearchItem { .id = std::to_string(number), .title = line, .kind = ItemKind::file }));
    }
    std::vector<std::pair<std::string, double>> results;
    for (auto& result : Ranker {}.rank(items, makeQueryText(query), {}, limit))
        results.emplace_back(result.item.title, result.score);
    return results;
}

std::vector<std::pair<std::string, double>> filtered(LineFilter& filter, const char* query, std::optional<std::size_t> limit)
{
    std::vector<std::pair<std::string, double>> results;
    for (auto& hit : filter.search(makeQueryText(query), { .limit = limit }))
        results.emplace_back(std::string(filter.title(hit.item)), hit.score);
    return results;
}

} // namespace

TEST(LineFilter, AgreesWithTheRanker)
{
    LineFilter filter { InputBuffer(joined()) };
    for (auto query : { "code", "c", "cafe", "a b", "vsc", "sa", "usrshrdoc", "zur", "本", "e", "zzqx" }) {
        for (int limit : { 1, 3, 1000 }) {
            SCOPED_TRACE(std::string(query) + " limit " + std::to_string(limit));
            filter.forgetPreviousQuery();
            EXPECT_EQ(filtered(filter, query, static_cast<std::size_t>(limit)), ranked(query, limit));
        }
    }
}

TEST(LineFilter, NarrowingGivesTheSameResultsAsAFreshSearch)
{
    LineFilter filter { InputBuffer(joined()) };
    std::vector<std::pair<std::string, double>> typed;
    for (auto query : { "c", "co", "cod", "code" })
        typed = filtered(filter, query, std::nullopt);
    EXPECT_EQ(typed, ranked("code", 1000));
    // A change that does not narrow looks at every line again.
    EXPECT_EQ(filtered(filter, "x", std::nullopt), ranked("x", 1000));
    // Limits never shrink what the next keystroke may narrow from.
    filtered(filter, "c", 1);
    EXPECT_EQ(filtered(filter, "co", std::nullopt), ranked("co", 1000));
}

TEST(LineFilter, LinesKeepNumbersEndingsAndRepairs)
{
    LineFilter filter { InputBuffer(std::string("one\r\n\n\nt\xffo\nthree")) };
    ASSERT_EQ(filter.size(), 3u);
    EXPECT_EQ(filter.title(0), "one");
    EXPECT_EQ(filter.title(1), "t\xEF\xBF\xBDo");
    EXPECT_EQ(filter.title(2), "three");
    EXPECT_EQ(filter.lineNumber(0), 1u);
    EXPECT_EQ(filter.lineNumber(1), 4u);
    EXPECT_EQ(filter.lineNumber(2), 5u);
    EXPECT_TRUE(filter.search(makeQueryText("one"), { .limit = 0 }).empty());
}

TEST(LineFilter, ThreadsChangeNothing)
{
    std::string text;
    for (int index = 0; index < 120'000; ++index)
        text += "/srv/data/" + std::to_string(index * 7919 % 100'003) + (index % 3 ? "/code.txt\n" : "/Café/notes.md\n");
    LineFilter filter { InputBuffer(text) };
    for (auto query : { "code", "cafe 12", "srvdata9" }) {
        SCOPED_TRACE(query);
        for (std::optional<std::size_t> limit : { std::optional<std::size_t> {}, std::optional<std::size_t> { 50 } }) {
            filter.forgetPreviousQuery();
            auto single = filter.search(makeQueryText(query), { .limit = limit, .threads = 1 });
            filter.forgetPreviousQuery();
            EXPECT_EQ(filter.search(makeQueryText(query), { .limit = limit, .threads = 2 }), single);
        }
    }
}

TEST(LineFilter, HighlightsMatchThePreparedTitle)
{
    LineFilter filter { InputBuffer(joined()) };
    auto pattern = FuzzyMatcher::makePattern(makeQueryText("crem"));
    auto match = filter.match(pattern, 6); // The empty line is not an item.
    ASSERT_TRUE(match);
    EXPECT_EQ(match, FuzzyMatcher::match(makeQueryText("crem"), makeMatchText("Café Crème")));
}
