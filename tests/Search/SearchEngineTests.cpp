#include "Search/SearchFixture.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using Testing::SearchFixture;

std::vector<std::string> ids(const std::vector<RankedResult>& results)
{
    std::vector<std::string> list;
    for (auto& result : results)
        list.push_back(result.item.id);
    return list;
}

TEST(SearchEngine, BuildsRowsForEverySource)
{
    SearchFixture fixture;
    auto& engine = fixture.engine;
    EXPECT_EQ(engine.commands().front().item.id, "cmd:lock");
    EXPECT_EQ(engine.commands().front().item.subtitle, "System command");

    ASSERT_EQ(engine.snippetItems().size(), 2u);
    auto& signature = engine.snippetItems()[0].item;
    EXPECT_EQ(signature.id, "snip:c:s1");
    EXPECT_EQ(signature.subtitle, ";sig · Best, ⏎ Ann");
    EXPECT_EQ(signature.keywords, (std::vector<std::string> { "sig", ";sig" }));
    EXPECT_EQ(engine.snippetItems()[1].item.title, ";addr");
    ASSERT_EQ(engine.snippetGroups().size(), 1u);
    EXPECT_EQ(engine.snippetGroups()[0].name, "Mail");

    auto& keyword = engine.workflowItems()[0].item;
    EXPECT_EQ(keyword.id, "wf:kw:in");
    EXPECT_EQ(keyword.subtitle, "Workflow · kw");
    EXPECT_EQ(keyword.autocomplete, "kw ");
    EXPECT_FALSE(keyword.isValid);

    auto& clip = engine.clipboardItems()[0].indexed.item;
    EXPECT_EQ(clip.id, "clip:1");
    EXPECT_EQ(clip.title, "kubectl get pods -n default");
    EXPECT_EQ(clip.subtitle, "Terminal");
}

TEST(SearchEngine, ReadsModesAndEmptyText)
{
    SearchFixture fixture;
    auto empty = fixture.engine.search("");
    EXPECT_TRUE(empty.results.empty());
    EXPECT_FALSE(empty.wantsFiles);
    EXPECT_EQ(empty.query.mode, QueryMode::standard);

    auto quote = fixture.engine.search("'");
    EXPECT_EQ(quote.query.mode, QueryMode::openFile);
    EXPECT_FALSE(quote.wantsFiles);
    EXPECT_TRUE(fixture.engine.search("'report").wantsFiles);
}

TEST(SearchEngine, RanksSourcesTogetherWithTheCalculatorOnTop)
{
    SearchFixture fixture;
    auto fire = fixture.engine.search("fire");
    ASSERT_FALSE(fire.results.empty());
    EXPECT_EQ(fire.results[0].item.title, "Firefox");
    EXPECT_TRUE(fire.wantsFiles);

    auto sum = fixture.engine.search("1+1");
    ASSERT_FALSE(sum.results.empty());
    EXPECT_EQ(sum.results[0].item.id, "calc");
    EXPECT_EQ(sum.results[0].item.title, "2");
    EXPECT_TRUE(sum.results[0].item.subtitle.starts_with("1+1"));

    SearchSettings none;
    none.maxResults = 0;
    SearchFixture cut(none);
    EXPECT_TRUE(cut.engine.search("1+1").results.empty());
}

TEST(SearchEngine, GivesQueriesToTheirKeywordOwners)
{
    SearchFixture fixture;
    auto& engine = fixture.engine;
    EXPECT_EQ(ids(engine.search("snip sig").results).front(), "snip:c:s1");
    engine.snippetKeyword = "Snip";
    EXPECT_EQ(ids(engine.search("snip sig").results).front(), "snip:c:s1");

    // The web search "g" wins over the workflow keyword "g".
    auto web = engine.search("g cats");
    ASSERT_EQ(web.results.size(), 1u);
    EXPECT_EQ(web.results[0].item.kind, ItemKind::webSearch);
    EXPECT_EQ(web.results[0].score, 10.0);
    EXPECT_EQ(engine.search("g ").results.size(), 1u);

    auto bare = engine.search("g");
    auto google = std::find_if(bare.results.begin(), bare.results.end(),
        [](auto& result) { return result.item.kind == ItemKind::webSearch; });
    ASSERT_NE(google, bare.results.end());
    EXPECT_DOUBLE_EQ(google->matchScore, 0.95);
}

TEST(SearchEngine, AnswersWorkflowKeywords)
{
    SearchFixture fixture;
    auto& engine = fixture.engine;
    auto required = engine.search("kw ");
    ASSERT_EQ(required.results.size(), 1u);
    EXPECT_FALSE(required.results[0].item.isValid);
    EXPECT_EQ(required.results[0].item.title, "Search {query}");
    EXPECT_EQ(required.results[0].item.subtitle, "Type an argument");

    auto typed = engine.search("kw cats");
    EXPECT_TRUE(typed.results[0].item.isValid);
    EXPECT_EQ(typed.results[0].item.title, "Search cats");
    EXPECT_EQ(typed.results[0].item.subtitle, "cats");

    auto list = engine.search("colors bl");
    ASSERT_EQ(list.results.size(), 1u);
    EXPECT_EQ(list.results[0].item.id, "wf:list:in:b");
    EXPECT_EQ(list.results[0].item.argument, "#00f");
    ASSERT_TRUE(std::holds_alternative<SearchResponse::ListFilter>(list.special));
    EXPECT_EQ(engine.search("colors ").results.size(), 2u);

    auto script = engine.search("tickets issues");
    EXPECT_TRUE(script.results.empty());
    auto* filter = std::get_if<SearchResponse::ScriptFilter>(&script.special);
    ASSERT_TRUE(filter);
    EXPECT_EQ(filter->argument, "issues");

    EXPECT_EQ(SearchEngine::workflowTarget("wf:list:in:b"),
        (std::pair<std::string, std::string> { "list", "in" }));
    EXPECT_FALSE(SearchEngine::workflowTarget("wf:list"));
    EXPECT_FALSE(SearchEngine::workflowTarget("snip:a:b"));
}

TEST(SearchEngine, NavigatesOnlyWhenAllowed)
{
    SearchFixture fixture;
    fixture.files.directories["/tmp"] = { "a" };
    auto listing = fixture.engine.search("/tmp/");
    ASSERT_TRUE(std::holds_alternative<SearchResponse::Navigation>(listing.special));
    EXPECT_EQ(ids(listing.results), (std::vector<std::string> { "/tmp", "/tmp/a" }));

    SearchSettings off;
    off.fileNavigation = false;
    SearchFixture plain(off);
    auto standard = plain.engine.search("/tmp");
    EXPECT_EQ(standard.query.mode, QueryMode::standard);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(standard.special));
}

TEST(SearchEngine, LearnsFromPicksButNotFromAnswers)
{
    SearchFixture fixture;
    auto& engine = fixture.engine;
    auto terminal = engine.applications()[2].item;
    engine.recordPick(terminal, "te");
    auto results = engine.search("t").results;
    ASSERT_FALSE(results.empty());
    EXPECT_EQ(results[0].item.id, terminal.id);
    EXPECT_GT(results[0].learnedBoost, 0);

    engine.recordPick({ .id = "calc", .kind = ItemKind::calculator }, "1+1");
    EXPECT_FALSE(fixture.knowledge.usageScores(Testing::fixedNow()).contains("calc"));

    engine.learningEnabled = false;
    EXPECT_EQ(engine.search("t").results[0].learnedBoost, 0);
}

TEST(SearchEngine, MergesFilesBehindApplicationsAndFallsBackToTheWeb)
{
    SearchSettings settings;
    settings.fileResultLimit = 5;
    SearchFixture fixture(settings);
    auto& engine = fixture.engine;
    auto response = engine.search("fire");
    auto merged = engine.mergeFiles({ { .id = "/home/ann/firewall.txt",
                                          .title = "firewall.txt",
                                          .kind = ItemKind::file,
                                          .path = "/home/ann/firewall.txt" },
                                        { .id = "/home/ann/.cache/fire",
                                            .title = "fire",
                                            .kind = ItemKind::file,
                                            .path = "/home/ann/.cache/fire" } },
        response);
    auto list = ids(merged);
    EXPECT_EQ(list.front(), "/usr/share/applications/firefox.desktop");
    EXPECT_NE(std::find(list.begin(), list.end(), "/home/ann/firewall.txt"), list.end());
    EXPECT_EQ(std::find(list.begin(), list.end(), "/home/ann/.cache/fire"), list.end());

    auto nothing = engine.search("qqqzzz");
    auto fallbacks = engine.mergeFiles({}, nothing);
    ASSERT_FALSE(fallbacks.empty());
    for (auto& result : fallbacks)
        EXPECT_EQ(result.item.kind, ItemKind::webSearch);

    auto sum = engine.search("2*3");
    auto withFiles = engine.mergeFiles(
        { { .id = "/6", .title = "2*3 notes", .kind = ItemKind::file, .path = "/6" } }, sum);
    EXPECT_EQ(withFiles.front().item.id, "calc");
}

TEST(SearchEngine, FiltersTransientListsWithItsOwnThreshold)
{
    SearchFixture fixture;
    fixture.engine.ranker.minimumMatchScore = 0.9;
    std::vector<SearchItem> items { { .id = "a", .title = "Alpha" },
        { .id = "b", .title = "Beta" } };
    EXPECT_EQ(ids(fixture.engine.filterItems(items, "")), (std::vector<std::string> { "a", "b" }));
    EXPECT_EQ(ids(fixture.engine.filterItems(items, "apa")), std::vector<std::string> { "a" });
    EXPECT_EQ(fixture.engine.filterItems(items, "", 1).size(), 1u);
}

TEST(SearchEngine, PreparesSourcesOnAnotherThread)
{
    SearchFixture fixture;
    std::vector<SearchItem> apps;
    for (int index = 0; index < 500; ++index)
        apps.push_back({ .id = "app" + std::to_string(index),
            .title = "Application " + std::to_string(index),
            .kind = ItemKind::application });
    std::vector<IndexedItem> prepared;
    std::thread worker([&] { prepared = SearchEngine::prepareItems(apps); });
    worker.join();
    fixture.engine.installApplications(std::move(prepared));
    EXPECT_EQ(fixture.engine.search("application 42").results.front().item.id, "app42");
}

} // namespace
