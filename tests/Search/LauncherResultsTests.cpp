#include "Search/LauncherResults.h"

#include "Search/SearchFixture.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using Testing::SearchFixture;

std::vector<std::string> titles(const LauncherResults& results)
{
    std::vector<std::string> list;
    for (auto& section : results.sections)
        list.push_back(section.title);
    return list;
}

TEST(LauncherMode, DetectsPrefixesInOrder)
{
    EXPECT_EQ(detectMode("clip "), (std::pair { LauncherMode::clipboard, std::string() }));
    EXPECT_EQ(detectMode("CLIP x"), (std::pair { LauncherMode::clipboard, std::string("x") }));
    EXPECT_EQ(detectMode("'"), (std::pair { LauncherMode::files, std::string() }));
    EXPECT_EQ(detectMode(" a"), (std::pair { LauncherMode::files, std::string("a") }));
    EXPECT_EQ(detectMode("in x"), (std::pair { LauncherMode::contents, std::string("x") }));
    EXPECT_FALSE(detectMode("gx"));
    EXPECT_EQ(placeholder(std::nullopt), "Search apps, files and commands");
    EXPECT_EQ(title(LauncherMode::find), "Find in File Manager");
}

TEST(LauncherResults, FileModesAskForFilesOnlyWithATerm)
{
    SearchFixture fixture;
    auto hint = LauncherResults::build("", LauncherMode::files, fixture.engine);
    ASSERT_EQ(hint.sections.size(), 1u);
    EXPECT_EQ(hint.sections[0].results[0].item.title, "Type a file name");
    EXPECT_FALSE(hint.fileSearch);

    auto contents = LauncherResults::build(" budget ", LauncherMode::contents, fixture.engine);
    EXPECT_EQ(contents.sections[0].title, "Files containing “budget”");
    EXPECT_EQ(contents.fileSearch, (FileSearchRequest { "budget", true, 40 }));

    auto found = contents.mergingFiles(
        { { .id = "/b", .title = "b.txt", .kind = ItemKind::file, .path = "/b" },
            { .id = "/a", .title = "a.txt", .kind = ItemKind::file, .path = "/a" } },
        fixture.engine);
    EXPECT_EQ(found.sections[0].hint, "2 found");
    EXPECT_EQ(found.sections[0].results[0].item.id, "/b");
    auto none = contents.mergingFiles({}, fixture.engine);
    EXPECT_EQ(none.sections[0].results[0].item.id, "info:files-none");

    auto typed = LauncherResults::build("'", std::nullopt, fixture.engine);
    EXPECT_EQ(typed.sections[0].results[0].item.title, "Type a file name");
    EXPECT_FALSE(typed.fileSearch);
}

TEST(LauncherResults, ShowsHomeSectionsForTheEmptyField)
{
    SearchFixture fixture;
    fixture.engine.recordPick(fixture.engine.applications()[0].item, "fi");
    auto home = LauncherResults::build("", std::nullopt, fixture.engine);
    EXPECT_TRUE(home.isEmptyQuery);
    EXPECT_EQ(titles(home), (std::vector<std::string> { "Recent", "Clipboard" }));
    EXPECT_EQ(home.sections[1].hint, "type clip for more");

    fixture.engine.learningEnabled = false;
    fixture.engine.setClipboard({});
    auto bare = LauncherResults::build("  ", std::nullopt, fixture.engine);
    EXPECT_TRUE(bare.isEmptyQuery);
    EXPECT_TRUE(bare.sections.empty());
}

TEST(LauncherResults, CalculationsStandAlone)
{
    SearchFixture fixture;
    auto sum = LauncherResults::build("2+2", std::nullopt, fixture.engine);
    EXPECT_TRUE(sum.isCalculation);
    EXPECT_FALSE(sum.fileSearch);
    ASSERT_EQ(titles(sum), std::vector<std::string> { "Calculator" });
    EXPECT_EQ(sum.sections[0].results[0].item.id, "calc:0");
    EXPECT_EQ(sum.sections[0].results[0].item.title, "4");
}

TEST(LauncherResults, RanksByRowSource)
{
    SearchSettings settings;
    SearchFixture fixture(settings);
    auto results = LauncherResults::build("clip", std::nullopt, fixture.engine);
    ASSERT_FALSE(results.sections.empty());
    EXPECT_EQ(results.sections[0].title, "Settings & Commands");
    EXPECT_EQ(results.sections[0].results[0].item.id, "mode:clipboard");
    EXPECT_FALSE(results.sections[0].results[0].item.isValid);
    EXPECT_EQ(results.fileSearch, (FileSearchRequest { "clip", false, 3 }));

    auto kube = LauncherResults::build("kubectl", std::nullopt, fixture.engine);
    auto clipboardSection = std::find_if(kube.sections.begin(), kube.sections.end(),
        [](auto& section) { return section.title == "Clipboard"; });
    ASSERT_NE(clipboardSection, kube.sections.end());
    EXPECT_EQ(clipboardSection->results[0].item.id, "clip:1");

    auto merged = results.mergingFiles(
        { { .id = "/c", .title = "clip.txt", .kind = ItemKind::file, .path = "/c" } },
        fixture.engine);
    EXPECT_EQ(merged.sections.back().title, "Files");
    EXPECT_EQ(merged.sections.back().hint, "start with ' for files only");

    auto owner = LauncherResults::build("g cats", std::nullopt, fixture.engine);
    EXPECT_EQ(titles(owner), std::vector<std::string> { "Search the Web" });
    auto workflow = LauncherResults::build("colors ", std::nullopt, fixture.engine);
    EXPECT_EQ(titles(workflow), std::vector<std::string> { "Workflow" });
    EXPECT_TRUE(std::holds_alternative<SearchResponse::ListFilter>(workflow.special));
}

TEST(LauncherResults, FallsBackToTheWebWhenNothingMatches)
{
    SearchSettings settings;
    settings.includeFiles = false;
    SearchFixture fixture(settings);
    auto nothing = LauncherResults::build("qqqzzz", std::nullopt, fixture.engine);
    ASSERT_EQ(titles(nothing), std::vector<std::string> { "Search the Web" });
    EXPECT_FALSE(nothing.fileSearch);

    SearchFixture searching;
    auto waiting = LauncherResults::build("qqqzzz", std::nullopt, searching.engine);
    EXPECT_TRUE(waiting.sections.empty());
    auto after = waiting.mergingFiles({}, searching.engine);
    ASSERT_EQ(titles(after), std::vector<std::string> { "Search the Web" });
    EXPECT_EQ(after.sections[0].results[0].item.title, "No matches — search the web");
}

TEST(LauncherResults, ModesOfTheirOwn)
{
    SearchFixture fixture;
    auto clipboard = LauncherResults::build("", LauncherMode::clipboard, fixture.engine);
    EXPECT_EQ(titles(clipboard), (std::vector<std::string> { "Pinned", "Clipboard" }));
    auto missing = LauncherResults::build("zzzz", LauncherMode::clipboard, fixture.engine);
    EXPECT_EQ(missing.sections[0].results[0].item.title, "Nothing on the clipboard matches");

    auto snippets = LauncherResults::build("", LauncherMode::snippets, fixture.engine);
    ASSERT_EQ(titles(snippets), std::vector<std::string> { "Mail" });
    EXPECT_EQ(snippets.sections[0].hint, "2 snippets");
    auto noSnippet = LauncherResults::build("zzzz", LauncherMode::snippets, fixture.engine);
    EXPECT_EQ(noSnippet.sections[0].results[0].item.id, "info:snip-none");
    EXPECT_EQ(noSnippet.sections[0].results[0].item.title, "No snippets match");

    auto google = LauncherResults::build("cats", LauncherMode::google, fixture.engine);
    ASSERT_EQ(google.sections.size(), 1u);
    EXPECT_EQ(google.sections[0].results[0].item.kind, ItemKind::webSearch);
}

TEST(LauncherResults, BrowsesDirectories)
{
    SearchFixture fixture;
    fixture.files.directories["/"] = { "tmp" };
    fixture.files.directories["/tmp"] = { "only" };
    fixture.files.directories["/home/ann"] = {};
    auto root = LauncherResults::build("/", std::nullopt, fixture.engine);
    EXPECT_EQ(root.sections[0].title, "Computer");
    EXPECT_EQ(root.sections[0].hint, "1 item");
    EXPECT_TRUE(root.navigation);

    auto home = LauncherResults::build("~", std::nullopt, fixture.engine);
    EXPECT_EQ(home.sections[0].title, "Home");
    EXPECT_EQ(home.sections[0].results.back().item.title, "Empty folder");

    auto filtered = LauncherResults::build("/tmp/zz", std::nullopt, fixture.engine);
    EXPECT_EQ(filtered.sections[0].title, "tmp");
    EXPECT_EQ(filtered.sections[0].results.back().item.title, "Nothing matches “zz”");
}

TEST(FileSearchRequest, BuildsAContentPredicate)
{
    FileSearchRequest request { .term = " tax  re\"port ", .contents = true, .limit = 40 };
    EXPECT_EQ(request.contentPredicate(),
        "kMDItemTextContent == \"tax*\"cdw && kMDItemTextContent == \"re\\\"port*\"cdw");
}

} // namespace
