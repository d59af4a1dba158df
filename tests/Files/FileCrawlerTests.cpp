#include "Files/FileCrawler.h"

#include "FileTree.h"

#include <map>
#include <set>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
namespace fs = std::filesystem;

// What a crawl tells: each folder entered with the entries heard right after it.
std::map<std::string, std::set<std::string>> crawled(
    const fs::path& root, int threads, const FileCrawler::Exclusion& isExcluded = {})
{
    std::map<std::string, std::set<std::string>> folders;
    std::string current;
    FileCrawler crawler(
        isExcluded ? isExcluded : [](std::string_view) { return false; },
        [&](const CrawledEntry& entry) {
            EXPECT_EQ(std::string(entry.folder), current) << entry.name;
            folders[current].insert(std::string(entry.name) + (entry.isFolder ? "/" : ""));
        },
        [&](const std::string& folder) {
            EXPECT_FALSE(folders.contains(folder)) << folder << " entered twice";
            current = folder;
            folders[folder];
        },
        threads);
    auto entered = crawler.crawl({ root.string() });
    EXPECT_EQ(entered, folders.size());
    return folders;
}

TEST(FileCrawler, LeavesOutWhatTheLauncherNeverShows)
{
    TemporaryDirectory tree;
    makeFile(tree / "docs/report.txt");
    makeFile(tree / ".hidden/secret.txt");
    makeFile(tree / "docs/.dotfile");
    makeFile(tree / "Tool.app/Contents/Info.plist");
    makeFile(tree / "apps/editor.desktop");
    makeFile(tree / "cache/big.bin");
    fs::create_directory_symlink(tree.path(), tree / "docs/loop");
    auto root = tree.path().string();
    auto folders
        = crawled(tree.path(), 1, [](std::string_view path) { return path.ends_with("/cache"); });
    EXPECT_EQ(folders,
        (std::map<std::string, std::set<std::string>> {
            { root, { "apps/", "docs/" } },
            { root + "/apps", {} },
            { root + "/docs", { "loop", "report.txt" } },
        }));
}

TEST(FileCrawler, AnUnreadableFolderIsListedButNotEntered)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root reads every folder";
    TemporaryDirectory tree;
    makeFile(tree / "locked/inside.txt");
    fs::permissions(tree / "locked", fs::perms::none);
    auto folders = crawled(tree.path(), 1);
    EXPECT_EQ(folders.size(), 1u);
    EXPECT_EQ(folders.begin()->second, std::set<std::string> { "locked/" });
}

TEST(FileCrawler, ThreadsFindWhatOneThreadFinds)
{
    TemporaryDirectory tree;
    for (int folder = 0; folder < 40; ++folder) {
        for (int file = 0; file < 25; ++file)
            makeFile(tree / ("f" + std::to_string(folder)) / ("d" + std::to_string(folder % 3))
                / ("file" + std::to_string(file) + ".txt"));
    }
    auto alone = crawled(tree.path(), 1);
    EXPECT_EQ(alone.size(), 1u + 40 + 40);
    EXPECT_EQ(crawled(tree.path(), 3), alone);
}

} // namespace
