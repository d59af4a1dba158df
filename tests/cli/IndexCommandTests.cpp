// `zeph index`, `zeph files` and the file rows of `zeph search`, over a temporary tree.
#include "cli/DataFolder.h"

#include <fstream>

#include <gtest/gtest.h>

namespace {

using CommandLineTesting::DataFolder;
using CommandLineTesting::json;
using CommandLineTesting::lines;

struct IndexedTree {
    DataFolder run;
    std::filesystem::path tree = run.path().parent_path() / "tree";

    IndexedTree()
    {
        for (auto* name :
            { "Projects/Café menu.txt", "Projects/menu-draft.md", "Projects/.secret/menu.txt",
                "Projects/cache/menu.log", "Projects/Menu.app/Contents/menu.plist" }) {
            std::filesystem::create_directories((tree / name).parent_path());
            std::ofstream(tree / name) << "x";
        }
        nlohmann::json scopes = nlohmann::json::array({ tree.string() });
        nlohmann::json excluded = nlohmann::json::array({ (tree / "Projects/cache").string() });
        EXPECT_EQ(run({ "config", "set", "search.fileScopes", scopes.dump() }).exitCode, 0);
        EXPECT_EQ(run({ "config", "set", "search.excludedPaths", excluded.dump() }).exitCode, 0);
    }
};

TEST(IndexCommand, BuildsAndAnswersFileSearches)
{
    IndexedTree folder;
    auto& run = folder.run;
    EXPECT_EQ(run({ "index", "status" }).exitCode, 1);
    auto built = run({ "index", "--now", "2026-11-24T12:00:00Z" });
    EXPECT_EQ(built.exitCode, 0);
    EXPECT_TRUE(built.output.starts_with("Indexed 3 entries"));
    auto status = run({ "index", "status" });
    EXPECT_EQ(status.exitCode, 0);
    EXPECT_NE(status.output.find("Last update: 2026-11-24T12:00:00Z"), std::string::npos);

    auto found = run({ "files", "MENU" });
    EXPECT_EQ(found.exitCode, 0);
    auto rows = lines(found.output);
    ASSERT_EQ(rows.size(), 2u);
    std::sort(rows.begin(), rows.end());
    EXPECT_EQ(rows[0], "Café menu.txt\t" + (folder.tree / "Projects").string() + "\tfile");
    EXPECT_EQ(run({ "files", "enu" }).exitCode, 1);
    EXPECT_EQ(json(lines(run({ "files", "--json", "cafe" }).output).at(0))["kind"], "file");

    auto search = json(run({ "search", "--json", "cafe men" }).output);
    auto& sections = search["sections"];
    ASSERT_FALSE(sections.empty());
    EXPECT_EQ(sections.back()["title"], "Files");
    EXPECT_EQ(sections.back()["results"][0]["item"]["title"], "Café menu.txt");
}

TEST(IndexCommand, SetsADamagedIndexAsideAndRebuilds)
{
    IndexedTree folder;
    auto& run = folder.run;
    std::filesystem::create_directories(run.path());
    std::ofstream(run.path() / "files.sqlite") << "not a database";
    EXPECT_EQ(run({ "index" }).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(run.path() / "files.sqlite.corrupt"));
    EXPECT_EQ(run({ "files", "draft" }).exitCode, 0);
    EXPECT_EQ(run({ "index", "--rebuild" }).exitCode, 0);
    EXPECT_EQ(run({ "files", "draft" }).exitCode, 0);
}

} // namespace
