// `zeph index`, `zeph files` and the file rows of `zeph search`, over a temporary tree.
#include "cli/DataFolder.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using CommandLineTesting::DataFolder;
using CommandLineTesting::json;
using CommandLineTesting::lines;
using zeph::readFile;

struct IndexedTree {
    DataFolder run;
    std::filesystem::path tree = run.path().parent_path() / "tree";

    IndexedTree()
    {
        for (auto* name :
            { "Projects/Café menu.txt", "Projects/menu-draft.md", "Projects/.secret/menu.txt",
                "Projects/cache/menu.log", "Projects/Menu.app/Contents/menu.plist" }) {
            std::filesystem::create_directories((tree / name).parent_path());
            std::ofstream(tree / name) << "a pinch of salt";
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

    auto inside = lines(run({ "files", "--contents", "PINCH", "sal" }).output);
    std::sort(inside.begin(), inside.end());
    EXPECT_EQ(inside,
        (std::vector<std::string> {
            "Café menu.txt\t" + (folder.tree / "Projects").string() + "\tfile",
            "menu-draft.md\t" + (folder.tree / "Projects").string() + "\tfile" }));
    EXPECT_EQ(run({ "files", "--contents", "pepper" }).exitCode, 1);
}

TEST(IndexCommand, ReportsProgressAndWhatItHolds)
{
    IndexedTree folder;
    auto& run = folder.run;
    auto built = run({ "index", "--progress" });
    EXPECT_EQ(built.exitCode, 0);
    EXPECT_NE(built.errors.find("Indexing names: "), std::string::npos) << built.errors;
    EXPECT_NE(built.errors.find("Reading text files: 2 of 2"), std::string::npos) << built.errors;
    auto status = run({ "index", "status" }).output;
    EXPECT_NE(status.find("Entries: 3 in 2 folders"), std::string::npos) << status;
    EXPECT_NE(status.find("Text files read: 2"), std::string::npos) << status;
    EXPECT_NE(status.find("Watched folders: none yet"), std::string::npos) << status;

    EXPECT_EQ(run({ "config", "set", "search.indexFileContents", "false" }).exitCode, 0);
    EXPECT_EQ(run({ "index" }).exitCode, 0);
    EXPECT_EQ(run({ "files", "--contents", "salt" }).exitCode, 1);
    EXPECT_NE(
        run({ "index", "status" }).output.find("Text files read: 0 (reading inside files is off)"),
        std::string::npos);
}

TEST(IndexCommand, WatchingFollowsChangesUntilTerminated)
{
    IndexedTree folder;
    auto& run = folder.run;
    auto errors = run.path().parent_path() / "watch.log";
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int log = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(log, STDERR_FILENO);
        setenv("ZEPH_DATA_DIR", run.path().c_str(), 1);
        execl(ZEPH_EXECUTABLE, ZEPH_EXECUTABLE, "index", "--watch", nullptr);
        _exit(127);
    }
    // Waits for the answer; on failure, says what the last try and the watcher printed.
    auto eventually
        = [&](std::vector<std::string> arguments, int exitCode) -> testing::AssertionResult {
        std::string last;
        for (int step = 0; step < 200; ++step) {
            auto outcome = run(arguments);
            if (outcome.exitCode == exitCode)
                return testing::AssertionSuccess();
            last = "exit " + std::to_string(outcome.exitCode) + ": " + outcome.errors;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return testing::AssertionFailure() << last << "\nwatcher: " << readFile(errors);
    };
    EXPECT_TRUE(eventually({ "files", "draft" }, 0));
    std::filesystem::rename(
        folder.tree / "Projects/menu-draft.md", folder.tree / "Projects/final plan.md");
    EXPECT_TRUE(eventually({ "files", "plan" }, 0));
    EXPECT_TRUE(eventually({ "files", "draft" }, 1));
    EXPECT_NE(run({ "index", "status" }).output.find("Watched folders: 2 (0 rescanned instead)"),
        std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(run.path() / "files.sqlite.corrupt"));

    kill(child, SIGTERM);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << readFile(errors);
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
