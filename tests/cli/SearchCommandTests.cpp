// `zeph search` and `zeph apps` on a temporary data folder with fixture application folders.
#include "cli/DataFolder.h"

#include <fstream>

#include <gtest/gtest.h>

namespace {

using CommandLineTesting::DataFolder;
using CommandLineTesting::json;
using CommandLineTesting::lines;

const std::string noon = "2026-11-24T12:00:00Z";

// A data folder whose settings name one application folder with two entries and a settings panel.
struct SearchFolder {
    DataFolder run;
    std::filesystem::path applications = run.path().parent_path() / "applications";

    SearchFolder()
    {
        std::filesystem::create_directories(applications);
        std::ofstream(applications / "editor.desktop")
            << "[Desktop Entry]\nType=Application\nName=Text Editor\nExec=editor %F\n";
        std::ofstream(applications / "fire.desktop")
            << "[Desktop Entry]\nType=Application\nName=Firefox\nGenericName=Web "
               "Browser\nExec=ff\n";
        std::ofstream(applications / "panel.desktop")
            << "[Desktop Entry]\nType=Application\nName=Displays\nExec=p\nCategories=Settings;\n";
        nlohmann::json folders = nlohmann::json::array({ applications.string() });
        EXPECT_EQ(
            run({ "config", "set", "search.applicationFolders", folders.dump() }).exitCode, 0);
    }
};

TEST(SearchCommand, PrintsTheSectionsOfTheLauncher)
{
    SearchFolder folder;
    auto& run = folder.run;
    auto fire = run({ "search", "--now", noon, "fire" });
    EXPECT_EQ(fire.exitCode, 0);
    EXPECT_EQ(lines(fire.output).at(0), "Applications");
    EXPECT_EQ(lines(fire.output).at(1), "  Firefox\tWeb Browser\tapplication");

    auto sum = json(run({ "search", "--json", "2+2" }).output);
    EXPECT_EQ(sum["isCalculation"], true);
    EXPECT_EQ(sum["sections"][0]["results"][0]["item"]["title"], "4");

    // A mode's prefix enters the mode, as typing it in the panel does.
    auto clip = json(run({ "search", "--json", "clip " }).output);
    EXPECT_EQ(clip["mode"], "clipboard");
    EXPECT_EQ(clip["sections"][0]["results"][0]["item"]["id"], "info:clip-none");

    auto files = json(run({ "search", "--json", "--mode", "contents", "tax" }).output);
    EXPECT_EQ(files["fileSearch"],
        (nlohmann::json { { "term", "tax" }, { "contents", true }, { "limit", 40 } }));

    auto bad = run({ "search", "--mode", "everything", "x" });
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_NE(bad.errors.find("--mode"), std::string::npos);
}

TEST(SearchCommand, FallsBackToTheWebAndFollowsLearning)
{
    SearchFolder folder;
    auto& run = folder.run;
    auto nothing = run({ "search", "qqqzzzx" });
    EXPECT_EQ(nothing.exitCode, 0);
    EXPECT_EQ(lines(nothing.output).at(0), "Search the Web");

    auto editor = (folder.applications / "editor.desktop").string();
    EXPECT_EQ(run({ "learn", "--now", noon, editor, "t" }).exitCode, 0);
    auto picked = json(run({ "search", "--json", "--now", noon, "t" }).output);
    EXPECT_EQ(picked["sections"][0]["results"][0]["item"]["id"], editor);
    EXPECT_GT(picked["sections"][0]["results"][0]["learnedBoost"].get<double>(), 0);

    auto home = json(run({ "search", "--json", "--now", noon }).output);
    EXPECT_EQ(home["isEmptyQuery"], true);
    EXPECT_EQ(home["sections"][0]["title"], "Recent");
}

TEST(AppsCommand, ListsApplicationsThenSettingsPanels)
{
    SearchFolder folder;
    auto listed = folder.run({ "apps" });
    EXPECT_EQ(listed.exitCode, 0);
    auto rows = lines(listed.output);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], "Firefox\tapplication\t" + (folder.applications / "fire.desktop").string());
    EXPECT_TRUE(rows[2].starts_with("Displays\tsystemSetting\t"));
    auto first = json(lines(folder.run({ "apps", "--json" }).output).at(0));
    EXPECT_EQ(first["argument"], "fire.desktop");

    nlohmann::json none = nlohmann::json::array({ "/nowhere" });
    EXPECT_EQ(
        folder.run({ "config", "set", "search.applicationFolders", none.dump() }).exitCode, 0);
    EXPECT_EQ(folder.run({ "apps" }).exitCode, 1);
}

} // namespace
