#include "Files/FileIndex.h"

#include "Files/FileCrawler.h"
#include "Files/FileWatcher.h"
#include "Files/IndexWords.h"
#include "Support/TemporaryDirectory.h"

#include <chrono>
#include <fstream>
#include <sqlite3.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
namespace fs = std::filesystem;

const Date now = Date(std::chrono::seconds(1'795'000'000));

void touch(const fs::path& path, int secondsAgo = 0)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "x";
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::seconds(secondsAgo));
}

std::vector<std::string> names(const Result<std::vector<IndexedFile>>& files)
{
    std::vector<std::string> list;
    for (auto& file : *files)
        list.push_back(file.name);
    return list;
}

TEST(IndexWords, FoldsAndSplitsNamesAsTheMatcherSeesWords)
{
    EXPECT_EQ(indexWords("Café-Menu_2024.PDF"),
        (std::vector<std::string> { "cafe", "menu", "2024", "pdf", "cafemenu2024pdf" }));
    EXPECT_EQ(indexWords("FileCheck"), (std::vector<std::string> { "file", "check", "filecheck" }));
    EXPECT_EQ(indexWords("notes"), std::vector<std::string> { "notes" });
    EXPECT_EQ(nameMatchExpression(" CAFÉ  men "), "\"cafe\"* \"men\"*");
    EXPECT_EQ(nameMatchExpression("\"-*"), "");
    EXPECT_EQ(nameMatchExpression("a\"b"), "\"a\"* \"b\"*");
}

TEST(FileCrawler, LeavesOutWhatTheLauncherNeverShows)
{
    TemporaryDirectory tree;
    touch(tree / "docs/report.txt");
    touch(tree / ".hidden/secret.txt");
    touch(tree / "docs/.dotfile");
    touch(tree / "Tool.app/Contents/Info.plist");
    touch(tree / "apps/editor.desktop");
    touch(tree / "cache/big.bin");
    fs::create_directory_symlink(tree.path(), tree / "docs/loop");
    std::vector<std::string> seen;
    FileCrawler crawler([&](std::string_view path) { return path.ends_with("/cache"); },
        [&](const CrawledEntry& entry) { seen.push_back(std::string(entry.name)); });
    crawler.crawl({ tree.path().string() });
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(seen, (std::vector<std::string> { "apps", "docs", "loop", "report.txt" }));
}

TEST(FileIndex, FindsNamesByWordPrefixesMostRecentFirst)
{
    TemporaryDirectory tree;
    touch(tree / "files/Résumé Final.pdf", 300);
    touch(tree / "files/resume-draft.txt", 10);
    touch(tree / "files/presume.txt", 5);
    // Vowel signs are marks to some tables and letters to others; the word must stay whole.
    touch(tree / "files/क्षेत्र map.txt", 20);
    fs::create_directories(tree / "files/Resumes");
    touch(tree / "files/Resumes/x", 1000);
    fs::last_write_time(
        tree / "files/Resumes", fs::file_time_type::clock::now() - std::chrono::seconds(5000));
    auto index = FileIndex::open(tree / "index.sqlite");
    ASSERT_TRUE(index);
    auto count = (*index)->rebuild({ .folders = { (tree / "files").string() },
                                       .isExcluded = [](std::string_view) { return false; } },
        now);
    ASSERT_TRUE(count);
    EXPECT_EQ(*count, 6);
    EXPECT_EQ(
        names((*index)->search("क्षे", 10, false)), std::vector<std::string> { "क्षेत्र map.txt" });

    EXPECT_EQ(names((*index)->search("RESU", 10, false)),
        (std::vector<std::string> { "resume-draft.txt", "Résumé Final.pdf" }));
    EXPECT_EQ(names((*index)->search("resu", 10, true)),
        (std::vector<std::string> { "resume-draft.txt", "Résumé Final.pdf", "Resumes" }));
    EXPECT_EQ(names((*index)->search("fin res", 10, false)),
        std::vector<std::string> { "Résumé Final.pdf" });
    EXPECT_EQ(
        names((*index)->search("resu", 1, false)), std::vector<std::string> { "resume-draft.txt" });
    EXPECT_TRUE((*index)->search("sume", 10, true)->empty());
    EXPECT_TRUE((*index)->search("\" OR *", 10, true)->empty());
    auto found = (*index)->search("draft", 10, false);
    ASSERT_EQ(found->size(), 1u);
    EXPECT_EQ(found->front().path, (tree / "files/resume-draft.txt").string());

    auto status = (*index)->status();
    EXPECT_EQ(status.files, 6);
    EXPECT_EQ(status.lastUpdate, now);
}

TEST(FileIndex, RefreshesWhatChangedOnDisk)
{
    TemporaryDirectory tree;
    touch(tree / "root/old name.txt");
    touch(tree / "root/Archive/inner/deep note.txt");
    auto index = FileIndex::open(tree / "index.sqlite");
    ASSERT_TRUE(index);
    FileIndex::Scope scope { .folders = { (tree / "root").string() },
        .isExcluded = [](std::string_view) { return false; } };
    ASSERT_TRUE((*index)->rebuild(scope, now));
    EXPECT_EQ(
        names((*index)->search("deep", 10, false)), std::vector<std::string> { "deep note.txt" });

    fs::rename(tree / "root/old name.txt", tree / "root/new name.txt");
    fs::rename(tree / "root/Archive", tree / "root/Attic");
    touch(tree / "root/Attic/inner/.hidden note");
    EXPECT_FALSE((*index)->refresh(
        { (tree / "root/old name.txt").string(), (tree / "root/new name.txt").string(),
            (tree / "root/Archive").string(), (tree / "root/Attic").string() },
        scope, now));
    EXPECT_EQ(
        names((*index)->search("name", 10, false)), std::vector<std::string> { "new name.txt" });
    auto deep = (*index)->search("deep", 10, false);
    ASSERT_EQ(deep->size(), 1u);
    EXPECT_EQ(deep->front().path, (tree / "root/Attic/inner/deep note.txt").string());
    EXPECT_TRUE((*index)->search("archive", 10, true)->empty());
    EXPECT_TRUE((*index)->search("hidden", 10, true)->empty());

    fs::remove_all(tree / "root/Attic");
    EXPECT_FALSE((*index)->refresh({ (tree / "root/Attic").string() }, scope, now));
    EXPECT_TRUE((*index)->search("deep", 10, false)->empty());
    EXPECT_EQ((*index)->status().files, 1);
}

TEST(FileIndex, SetsADamagedOrForeignFileAside)
{
    TemporaryDirectory folder;
    auto file = folder / "index.sqlite";
    std::ofstream(file) << "this is no database at all, just text that happens to be here";
    auto index = FileIndex::open(file);
    ASSERT_TRUE(index);
    EXPECT_TRUE(fs::exists(folder / "index.sqlite.corrupt"));
    EXPECT_EQ((*index)->status().files, 0);
    index->reset();

    auto foreign = folder / "foreign.sqlite";
    sqlite3* database = nullptr;
    sqlite3_open(foreign.c_str(), &database);
    sqlite3_exec(database, "CREATE TABLE files (something TEXT); INSERT INTO files VALUES ('x');",
        nullptr, nullptr, nullptr);
    sqlite3_close(database);
    auto reopened = FileIndex::open(foreign);
    ASSERT_TRUE(reopened);
    EXPECT_TRUE(fs::exists(folder / "foreign.sqlite.corrupt"));
}

} // namespace

namespace {

TEST(FileWatcher, SeesCreationsRenamesAndDeletions)
{
    TemporaryDirectory tree;
    touch(tree / "root/first.txt");
    auto index = FileIndex::open(tree / "index.sqlite");
    ASSERT_TRUE(index);
    FileIndex::Scope scope { .folders = { (tree / "root").string() },
        .isExcluded = [](std::string_view) { return false; } };
    std::vector<std::string> messages;
    FileWatcher watcher(
        **index, scope, [] { return now; },
        [&](const std::string& message) { messages.push_back(message); });
    std::atomic<bool> stop = false;
    std::optional<Error> failure;
    std::thread running([&] { failure = watcher.run(stop); });

    // A second connection, as the launcher reads while the watcher writes.
    auto reader = FileIndex::open(tree / "index.sqlite");
    ASSERT_TRUE(reader);
    auto eventually = [&](std::string_view term, std::vector<std::string> expected) {
        for (int step = 0; step < 100; ++step) {
            if (names((*reader)->search(term, 10, true)) == expected)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    };
    EXPECT_TRUE(eventually("first", { "first.txt" }));
    touch(tree / "root/new folder/second.txt");
    EXPECT_TRUE(eventually("second", { "second.txt" }));
    touch(tree / "root/new folder/third.txt");
    EXPECT_TRUE(eventually("third", { "third.txt" }));
    fs::rename(tree / "root/first.txt", tree / "root/renamed.txt");
    EXPECT_TRUE(eventually("renamed", { "renamed.txt" }));
    EXPECT_TRUE(eventually("first", {}));
    fs::remove_all(tree / "root/new folder");
    EXPECT_TRUE(eventually("second", {}));

    stop = true;
    running.join();
    EXPECT_FALSE(failure);
    EXPECT_TRUE(messages.empty());
}

} // namespace
