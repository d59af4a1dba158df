#include "Search/Ranker.h"

#include <gtest/gtest.h>

using namespace zeph;

namespace {

IndexedItem item(std::string id, std::string title, ItemKind kind = ItemKind::file, std::vector<std::string> keywords = {})
{
    return makeIndexedItem(SearchItem { .id = std::move(id), .title = std::move(title), .kind = kind, .keywords = std::move(keywords) });
}

RankedResult result(std::string id, std::string title, double score)
{
    return RankedResult { .item = SearchItem { .id = std::move(id), .title = std::move(title) }, .score = score };
}

std::vector<std::string> ids(const std::vector<RankedResult>& results)
{
    std::vector<std::string> values;
    for (auto& entry : results)
        values.push_back(entry.item.id);
    return values;
}

} // namespace

TEST(Ranker, KeywordOvertakesTitleOnlyWhenBetterAfterItsDiscount)
{
    Ranker ranker;
    auto query = makeQueryText("term");
    // Title and keyword both exact: the title keeps 1.0 and its highlight.
    auto both = ranker.score(item("a", "Term", ItemKind::file, { "term" }), query, {});
    ASSERT_TRUE(both);
    EXPECT_DOUBLE_EQ(both->matchScore, 1.0);
    EXPECT_EQ(both->highlight, (std::vector<int> { 0, 1, 2, 3 }));
    // Only a keyword matches: its discounted score, and no highlight.
    auto keyword = ranker.score(item("b", "Console", ItemKind::application, { "terminal" }), query, {});
    ASSERT_TRUE(keyword);
    EXPECT_DOUBLE_EQ(keyword->matchScore, (0.9 + 0.08 * (4.0 / 8.0)) * 0.95);
    EXPECT_TRUE(keyword->highlight.empty());
    EXPECT_DOUBLE_EQ(keyword->score, keyword->matchScore + 0.08);
    // A weak title match loses to a strong keyword.
    auto overtaken = ranker.score(item("c", "the rest of my notes", ItemKind::file, { "term" }), query, {});
    ASSERT_TRUE(overtaken);
    EXPECT_DOUBLE_EQ(overtaken->matchScore, 0.95);
    EXPECT_TRUE(overtaken->highlight.empty());
}

TEST(Ranker, ThresholdYieldsToLearnedBoost)
{
    Ranker ranker;
    auto query = makeQueryText("zq");
    auto scattered = item("far", "aaaaaaaaazaq");
    EXPECT_FALSE(ranker.score(scattered, query, {}));
    auto favourite = ranker.score(scattered, query, { { "far", 0.5 } });
    ASSERT_TRUE(favourite);
    EXPECT_DOUBLE_EQ(favourite->score, 0.9 * 0.5 + favourite->matchScore + 0.0);
    EXPECT_DOUBLE_EQ(favourite->learnedBoost, 0.5);
    EXPECT_FALSE(ranker.score(item("none", "abc"), makeQueryText("xyz"), { { "none", 0.9 } }));
}

TEST(Ranker, OrderIsScoreThenCharactersThenLowercasedTitleThenId)
{
    std::vector<RankedResult> results {
        result("5", "bbb", 0.5),
        result("4", "Aaa", 0.5),
        result("3", "aaa", 0.5),
        result("2", "e\xCC\x81" "e", 0.5), // Two characters in four bytes: shorter than "aaa".
        result("1", "zzzz", 0.9),
    };
    EXPECT_EQ(ids(Ranker::top(results, 10)), (std::vector<std::string> { "1", "2", "3", "4", "5" }));
    EXPECT_EQ(ids(Ranker::top(results, 2)), (std::vector<std::string> { "1", "2" }));
    EXPECT_TRUE(Ranker::top(results, 0).empty());
}

TEST(Ranker, RankAndMergeKeepTheirContracts)
{
    Ranker ranker;
    std::vector<IndexedItem> items { item("/b", "Safari"), item("/a", "Safari"), item("/c", "Safari App", ItemKind::application) };
    auto query = makeQueryText("saf");
    for (int run = 0; run < 3; ++run)
        EXPECT_EQ(ids(ranker.rank(items, query, {}, 10)), (std::vector<std::string> { "/c", "/a", "/b" }));
    EXPECT_TRUE(ranker.rank(items, query, {}, 0).empty());
    EXPECT_TRUE(ranker.rank(items, query, {}, -1).empty());
    EXPECT_TRUE(ranker.rank(items, makeQueryText("  "), {}, 10).empty());

    auto merged = Ranker::merge({ { result("x", "first", 0.5), result("y", "y", 0.4) }, { result("x", "second", 0.5), result("y", "better", 0.6) } }, 10);
    ASSERT_EQ(merged.size(), 2u);
    EXPECT_EQ(merged[0].item.title, "better");
    EXPECT_EQ(merged[1].item.title, "first");
}

TEST(Ranker, KindBonusesFollowTheirTable)
{
    std::pair<ItemKind, double> bonuses[] = { { ItemKind::application, 0.08 }, { ItemKind::systemSetting, 0.05 },
        { ItemKind::folder, 0.02 }, { ItemKind::file, 0 }, { ItemKind::calculator, 0 }, { ItemKind::webSearch, 0 },
        { ItemKind::systemCommand, 0.05 }, { ItemKind::workflow, 0.05 }, { ItemKind::snippet, 0.03 },
        { ItemKind::clipboard, 0 }, { ItemKind::action, 0 } };
    for (auto [kind, bonus] : bonuses)
        EXPECT_EQ(rankingBonus(kind), bonus) << toString(kind);
}

TEST(SearchItem, DecodingIsStrictAndRoundTrips)
{
    auto json = Json::parse(R"({"id":"a","title":"T","subtitle":"","kind":"folder","keywords":["k"],"isValid":false,"path":"/p","argument":null})");
    ASSERT_TRUE(json);
    auto decoded = searchItemFromJSON(*json);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->path, "/p");
    EXPECT_FALSE(decoded->argument);
    EXPECT_EQ(searchItemFromJSON(toJSON(*decoded)).value_or(SearchItem {}), *decoded);

    for (auto broken : { R"({"title":"T","subtitle":"","kind":"file","keywords":[],"isValid":true})",
             R"({"id":1,"title":"T","subtitle":"","kind":"file","keywords":[],"isValid":true})",
             R"({"id":"a","title":"T","subtitle":"","kind":"nope","keywords":[],"isValid":true})",
             R"({"id":"a","title":"T","subtitle":"","kind":"file","keywords":[1],"isValid":true})",
             R"({"id":"a","title":"T","subtitle":"","kind":"file","keywords":[],"isValid":true,"path":3})", "[]" }) {
        SCOPED_TRACE(broken);
        auto result = searchItemFromJSON(*Json::parse(broken));
        ASSERT_FALSE(result);
        EXPECT_FALSE(result.error().message.empty());
    }
}
