#include "Files/FileIndex.h"

#include "FileTree.h"
#include "Storage/Paths.h"
#include "Support/KillTesting.h"

#include <csignal>
#include <fcntl.h>
#include <random>
#include <set>
#include <sqlite3.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
namespace fs = std::filesystem;

std::unique_ptr<FileIndex> openIndex(const fs::path& file)
{
    auto index = FileIndex::open(file);
    EXPECT_TRUE(index) << (index ? "" : index.error().message);
    return index ? std::move(*index) : nullptr;
}

// Every entry of the index as (path, types, modified), read straight from its tables.
std::set<std::tuple<std::string, std::int64_t, std::int64_t>> everyEntry(const fs::path& file)
{
    std::set<std::tuple<std::string, std::int64_t, std::int64_t>> entries;
    sqlite3* database = nullptr;
    sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(database,
        "SELECT folders.path, files.name, files.types, files.modified FROM files "
        "JOIN folders ON folders.id = files.folder",
        -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) {
        std::string folder = reinterpret_cast<const char*>(sqlite3_column_text(select, 0));
        entries.emplace(
            folder + "/" + reinterpret_cast<const char*>(sqlite3_column_text(select, 1)),
            sqlite3_column_int64(select, 2), sqlite3_column_int64(select, 3));
    }
    sqlite3_finalize(select);
    sqlite3_close(database);
    return entries;
}

// SQLite's check of the whole file, then the full-text tables' checks of their own structures.
std::string integrity(const fs::path& file)
{
    sqlite3* database = nullptr;
    sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_stmt* check = nullptr;
    sqlite3_prepare_v2(database, "PRAGMA integrity_check", -1, &check, nullptr);
    std::string result = sqlite3_step(check) == SQLITE_ROW
        ? reinterpret_cast<const char*>(sqlite3_column_text(check, 0))
        : sqlite3_errmsg(database);
    sqlite3_finalize(check);
    for (auto* command : { "INSERT INTO names (names) VALUES ('integrity-check')",
             "INSERT INTO contents (contents) VALUES ('integrity-check')" }) {
        if (result == "ok"
            && sqlite3_exec(database, command, nullptr, nullptr, nullptr) != SQLITE_OK)
            result = sqlite3_errmsg(database);
    }
    sqlite3_close(database);
    return result;
}

TEST(FileIndex, FindsNamesByWordPrefixesMostRecentFirst)
{
    TemporaryDirectory tree;
    makeFile(tree / "files/Résumé Final.pdf", 300);
    makeFile(tree / "files/resume-draft.txt", 10);
    makeFile(tree / "files/presume.txt", 5);
    makeFile(tree / "files/क्षेत्र map.txt", 20);
    makeFile(tree / "files/Resumes/x", 1000);
    fs::last_write_time(
        tree / "files/Resumes", fs::file_time_type::clock::now() - std::chrono::seconds(5000));
    auto index = openIndex(tree / "index.sqlite");
    auto count = index->update(scopeOf(tree / "files"), testNow);
    ASSERT_TRUE(count);
    EXPECT_EQ(*count, 6);

    EXPECT_EQ(namesOf(index->search(nameQuery({ "क्षे" }), 10)),
        std::vector<std::string> { "क्षेत्र map.txt" });
    EXPECT_EQ(namesOf(index->search(nameQuery({ "RESU" }, false), 10)),
        (std::vector<std::string> { "resume-draft.txt", "Résumé Final.pdf" }));
    EXPECT_EQ(namesOf(index->search(nameQuery({ "resu" }), 10)),
        (std::vector<std::string> { "resume-draft.txt", "Résumé Final.pdf", "Resumes" }));
    EXPECT_EQ(namesOf(index->search(nameQuery({ "fin", "res" }), 10)),
        std::vector<std::string> { "Résumé Final.pdf" });
    EXPECT_EQ(namesOf(index->search(nameQuery({ "resu" }), 1)),
        std::vector<std::string> { "resume-draft.txt" });
    EXPECT_TRUE(namesOf(index->search(nameQuery({ "sume" }), 10)).empty());
    EXPECT_TRUE(namesOf(index->search(nameQuery({ "\" OR *" }), 10)).empty());
    auto found = index->search(nameQuery({ "draft" }), 10);
    ASSERT_EQ(found->size(), 1u);
    EXPECT_EQ(found->front().path, (tree / "files/resume-draft.txt").string());
    EXPECT_FALSE(found->front().isFolder);

    auto status = index->status();
    EXPECT_EQ(status.files, 6);
    EXPECT_EQ(status.lastUpdate, testNow);
    EXPECT_EQ(status.watchedFolders, std::nullopt);
}

TEST(FileIndex, LongWordsFindTheSameNewestNamesWhetherCommonOrRare)
{
    // Forty "config" names between forty "cone" names, newest first, and one rare "conifer": words
    // longer than the prefix tables reach are answered through their first characters when the
    // rows read match often enough, else by the full-text table alone; both give the same rows.
    TemporaryDirectory tree;
    std::vector<std::string> configs;
    for (int number = 0; number < 40; ++number) {
        configs.push_back("config " + std::to_string(number) + ".txt");
        makeFile(tree / "files" / configs.back(), 100 + 2 * number);
        makeFile(tree / "files" / ("cone " + std::to_string(number) + ".txt"), 101 + 2 * number);
    }
    makeFile(tree / "files/conifer.txt", 5000);
    auto index = openIndex(tree / "index.sqlite");
    ASSERT_TRUE(index->update(scopeOf(tree / "files"), testNow));

    EXPECT_EQ(namesOf(index->search(nameQuery({ "config" }), 5)),
        std::vector<std::string>(configs.begin(), configs.begin() + 5));
    EXPECT_EQ(namesOf(index->search(nameQuery({ "CONFIG" }), 100)), configs);
    EXPECT_EQ(namesOf(index->search(nameQuery({ "conif" }), 5)),
        std::vector<std::string> { "conifer.txt" });
    std::vector<std::string> threes { "config 3.txt" };
    for (int number = 30; number < 40; ++number)
        threes.push_back("config " + std::to_string(number) + ".txt");
    EXPECT_EQ(namesOf(index->search(nameQuery({ "config", "3" }), 20)), threes);
    EXPECT_EQ(
        namesOf(index->search(nameQuery({ "txt", "conifers" }), 5)), std::vector<std::string> {});
    EXPECT_EQ(namesOf(index->search(nameQuery({ "cone" }, false), 1)),
        std::vector<std::string> { "cone 0.txt" });
}

TEST(FileIndex, AnswersThePredicatesOfTheCategories)
{
    TemporaryDirectory tree;
    makeFile(tree / "root/plan.pdf", 30);
    makeFile(tree / "root/plan.png", 20);
    makeFile(tree / "root/plan.txt", 10);
    fs::create_directory(tree / "root/plans");
    auto index = openIndex(tree / "index.sqlite");
    ASSERT_TRUE(index->update(scopeOf(tree / "root"), testNow));
    auto names = [&](std::string_view predicate) { return namesOf(index->search(predicate, 10)); };
    EXPECT_EQ(names("kMDItemDisplayName == \"plan*\"cdw"),
        (std::vector<std::string> { "plans", "plan.txt", "plan.png", "plan.pdf" }));
    EXPECT_EQ(
        names("kMDItemDisplayName == \"plan*\"cdw && kMDItemContentType != \"public.folder\""),
        (std::vector<std::string> { "plan.txt", "plan.png", "plan.pdf" }));
    EXPECT_EQ(names("kMDItemDisplayName == \"plan*\"cdw && (kMDItemContentTypeTree == "
                    "\"public.image\" || kMDItemContentTypeTree == \"com.adobe.pdf\")"),
        (std::vector<std::string> { "plan.png", "plan.pdf" }));
    EXPECT_EQ(names("kMDItemDisplayName == \"plan*\"cdw && (kMDItemContentTypeTree == "
                    "\"public.folder\")"),
        std::vector<std::string> { "plans" });
    EXPECT_TRUE(names("kMDItemDisplayName == \"plan*\"cdw && (kMDItemContentTypeTree == "
                      "\"com.example.none\")")
                    .empty());
    auto broken = index->search("kMDItemDisplayName == \"plan", 10);
    ASSERT_FALSE(broken);
    EXPECT_NE(broken.error().message.find("not understood"), std::string::npos);
}

TEST(FileIndex, AnUpdateAgreesWithAFreshBuild)
{
    TemporaryDirectory tree;
    for (int folder = 0; folder < 6; ++folder) {
        for (int file = 0; file < 8; ++file)
            makeFile(tree / "root" / ("folder" + std::to_string(folder))
                    / ("note " + std::to_string(file) + ".txt"),
                100 * (file + 1));
    }
    makeFile(tree / "root/skip/ignored.txt");
    auto index = openIndex(tree / "index.sqlite");
    std::set<std::string> excluded;
    FileIndex::Scope scope { .folders = { (tree / "root").string() },
        .isExcluded = [&](std::string_view path) { return excluded.contains(std::string(path)); } };
    ASSERT_TRUE(index->update(scope, testNow));

    // Added, deleted, changed, renamed, removed as a whole, newly excluded.
    makeFile(tree / "root/folder0/new note.txt");
    fs::remove(tree / "root/folder1/note 3.txt");
    makeFile(tree / "root/folder2/note 4.txt", "changed", 5);
    fs::rename(tree / "root/folder3", tree / "root/moved");
    fs::remove_all(tree / "root/folder4");
    excluded.insert((tree / "root/skip").string());
    auto updated = index->update(scope, testNow);
    ASSERT_TRUE(updated);

    auto fresh = openIndex(tree / "fresh.sqlite");
    ASSERT_TRUE(fresh->update(scope, testNow));
    EXPECT_EQ(everyEntry(tree / "index.sqlite"), everyEntry(tree / "fresh.sqlite"));
    EXPECT_EQ(*updated, fresh->status().files);
    EXPECT_EQ(index->status().folders, fresh->status().folders);
    // What changed is newest.
    EXPECT_EQ(namesOf(index->search(nameQuery({ "note" }), 2)),
        (std::vector<std::string> { "new note.txt", "note 4.txt" }));
    EXPECT_TRUE(namesOf(index->search(nameQuery({ "ignored" }), 10)).empty());
}

// A build writes the names' words into a file of its own and then copies them in, under the nose
// of the full-text table of the index's connection: that table must read them afresh, and the
// changes written through it afterwards must go on from them. Alone with the file, a build ends by
// switching to the write-ahead log, which makes every table read afresh anyway; with a reader
// about, nothing does.
TEST(FileIndex, TheWordsOfABuildAreTheIndexConnectionsOwn)
{
    for (bool isReaderAbout : { false, true }) {
        SCOPED_TRACE(isReaderAbout ? "with a reader about" : "alone");
        TemporaryDirectory tree;
        for (int file = 0; file < 300; ++file)
            makeFile(tree / "root" / ("folder" + std::to_string(file % 7))
                    / ("report " + std::to_string(file) + ".txt"),
                file + 10);
        makeFile(tree / "root/Plan.odt", 5);
        auto file = tree / "index.sqlite";
        makeFile(fs::path(file.string() + ".words"), "left by a build that crashed");
        auto index = openIndex(file);
        sqlite3* reader = nullptr;
        if (isReaderAbout) {
            sqlite3_open_v2(file.c_str(), &reader, SQLITE_OPEN_READONLY, nullptr);
            ASSERT_EQ(sqlite3_exec(reader, "SELECT count(*) FROM meta", nullptr, nullptr, nullptr),
                SQLITE_OK);
        }
        auto scope = scopeOf(tree / "root");
        EXPECT_TRUE(namesOf(index->search(nameQuery({ "report" }), 10)).empty());
        ASSERT_TRUE(index->update(scope, testNow));
        EXPECT_FALSE(fs::exists(file.string() + ".words"));
        EXPECT_EQ(index->search(nameQuery({ "rep" }), 1000)->size(), 300u);
        EXPECT_EQ(namesOf(index->search(nameQuery({ "r", "2" }), 2)),
            (std::vector<std::string> { "report 2.txt", "report 20.txt" }));

        makeFile(tree / "root/folder3/report extra.txt", 1);
        fs::remove(tree / "root/folder0/report 0.txt");
        fs::remove(tree / "root/Plan.odt");
        ASSERT_TRUE(index->update(scope, testNow));
        EXPECT_EQ(namesOf(index->search(nameQuery({ "report" }), 2)),
            (std::vector<std::string> { "report extra.txt", "report 1.txt" }));
        EXPECT_EQ(index->search(nameQuery({ "report" }), 1000)->size(), 300u);
        EXPECT_TRUE(namesOf(index->search(nameQuery({ "plan" }), 10)).empty());
        sqlite3_close(reader);
        index.reset();
        EXPECT_EQ(integrity(file), "ok");
    }
}

TEST(FileIndex, RefreshesWhatChangedOnDisk)
{
    TemporaryDirectory tree;
    makeFile(tree / "root/old name.txt");
    makeFile(tree / "root/Archive/inner/deep note.txt");
    auto index = openIndex(tree / "index.sqlite");
    auto scope = scopeOf(tree / "root");
    ASSERT_TRUE(index->update(scope, testNow));
    EXPECT_EQ(namesOf(index->search(nameQuery({ "deep" }), 10)),
        std::vector<std::string> { "deep note.txt" });

    fs::rename(tree / "root/old name.txt", tree / "root/new name.txt");
    fs::rename(tree / "root/Archive", tree / "root/Attic");
    makeFile(tree / "root/Attic/inner/.hidden note");
    EXPECT_FALSE(index->refresh(
        { (tree / "root/old name.txt").string(), (tree / "root/new name.txt").string(),
            (tree / "root/Archive").string(), (tree / "root/Attic").string() },
        scope, testNow));
    EXPECT_EQ(namesOf(index->search(nameQuery({ "name" }), 10)),
        std::vector<std::string> { "new name.txt" });
    auto deep = index->search(nameQuery({ "deep" }), 10);
    ASSERT_EQ(deep->size(), 1u);
    EXPECT_EQ(deep->front().path, (tree / "root/Attic/inner/deep note.txt").string());
    EXPECT_TRUE(namesOf(index->search(nameQuery({ "archive" }), 10)).empty());
    EXPECT_TRUE(namesOf(index->search(nameQuery({ "hidden" }), 10)).empty());

    fs::remove_all(tree / "root/Attic");
    EXPECT_FALSE(index->refresh({ (tree / "root/Attic").string() }, scope, testNow));
    EXPECT_TRUE(namesOf(index->search(nameQuery({ "deep" }), 10)).empty());
    EXPECT_EQ(index->status().files, 1);
}

TEST(FileIndex, TheRecentlyUsedListComesFirst)
{
    TemporaryDirectory tree;
    makeFile(tree / "root/report old.txt", 5000);
    makeFile(tree / "root/report new.txt", 10);
    makeFile(tree / "root/report other.txt", 3000);
    auto list = tree / "recently-used.xbel";
    auto writeList = [&](std::string_view name, std::string_view moment) {
        std::ofstream(list) << "<?xml version=\"1.0\"?>\n<xbel version=\"1.0\">\n"
                               "<bookmark href=\"file://"
                            << (tree / "root").string() << "/" << name << "\" added=\"" << moment
                            << "\" modified=\"" << moment << "\" visited=\"" << moment
                            << "\"/>\n</xbel>\n";
    };
    // "report old.txt" was opened just now, though it changed long ago.
    auto justNow = isoDateText(
        Date(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())));
    writeList("report%20old.txt", justNow);
    auto scope = scopeOf(tree / "root");
    scope.recentlyUsed = list;
    auto index = openIndex(tree / "index.sqlite");
    ASSERT_TRUE(index->update(scope, testNow));
    EXPECT_EQ(namesOf(index->search(nameQuery({ "report" }), 10)),
        (std::vector<std::string> { "report old.txt", "report new.txt", "report other.txt" }));

    // Opened later still: it moves up; what the list held before keeps its place.
    auto later = isoDateText(Date(std::chrono::floor<std::chrono::seconds>(
        std::chrono::system_clock::now() + std::chrono::minutes(1))));
    writeList("report%20other.txt", later);
    EXPECT_FALSE(index->followRecentlyUsed(scope, testNow));
    EXPECT_EQ(namesOf(index->search(nameQuery({ "report" }), 10)),
        (std::vector<std::string> { "report other.txt", "report old.txt", "report new.txt" }));
    // Nothing new in the list: nothing moves.
    makeFile(tree / "root/report newest.txt");
    EXPECT_FALSE(index->refresh({ (tree / "root/report newest.txt").string() }, scope, testNow));
    EXPECT_FALSE(index->followRecentlyUsed(scope, testNow));
    EXPECT_EQ(namesOf(index->search(nameQuery({ "report" }), 1)),
        std::vector<std::string> { "report newest.txt" });
}

TEST(FileIndex, SearchesInsideTextFiles)
{
    TemporaryDirectory tree;
    makeFile(tree / "root/recipe.txt", "Two eggs, flour and a pinch of SALT.\n", 30);
    makeFile(tree / "root/menu.md", "Crème brûlée for dessert", 20);
    makeFile(tree / "root/latin1.txt", "Caf\xe9 au lait", 10);
    makeFile(tree / "root/binary.txt", std::string("salt\0salt", 9), 5);
    makeFile(tree / "root/huge.txt", std::string((1 << 20) + 1, 'a') + " salt", 5);
    makeFile(tree / "root/photo.png", "salt");
    auto index = openIndex(tree / "index.sqlite");
    auto scope = scopeOf(tree / "root");
    ASSERT_TRUE(index->update(scope, testNow));
    auto inside = [&](std::vector<std::string> words) {
        return namesOf(index->search(
            FileQuery { .field = FileQuery::Field::contents, .words = std::move(words) }, 10));
    };
    EXPECT_EQ(inside({ "salt" }), std::vector<std::string> { "recipe.txt" });
    EXPECT_EQ(inside({ "PINCH", "egg" }), std::vector<std::string> { "recipe.txt" });
    EXPECT_EQ(inside({ "creme", "brul" }), std::vector<std::string> { "menu.md" });
    EXPECT_EQ(inside({ "café" }), std::vector<std::string> { "latin1.txt" });
    EXPECT_TRUE(inside({ "inch" }).empty());
    EXPECT_EQ(index->status().texts, 5);

    // A changed file is read again; what it said before is forgotten.
    makeFile(tree / "root/recipe.txt", "No salt any more: pepper.", 0);
    EXPECT_FALSE(index->refresh({ (tree / "root/recipe.txt").string() }, scope, testNow));
    EXPECT_TRUE(inside({ "eggs" }).empty());
    EXPECT_EQ(inside({ "pepper" }), std::vector<std::string> { "recipe.txt" });
    EXPECT_EQ(inside({ "salt" }), std::vector<std::string> { "recipe.txt" });

    // Switched off, the contents go.
    scope.indexesContents = false;
    ASSERT_TRUE(index->update(scope, testNow));
    EXPECT_TRUE(inside({ "pepper" }).empty());
    EXPECT_EQ(index->status().texts, 0);
    scope.indexesContents = true;
    ASSERT_TRUE(index->update(scope, testNow));
    EXPECT_EQ(inside({ "pepper" }), std::vector<std::string> { "recipe.txt" });
}

TEST(FileIndex, SetsADamagedForeignOrUnfinishedFileAside)
{
    TemporaryDirectory folder;
    auto file = folder / "index.sqlite";
    std::ofstream(file) << "this is no database at all, just text that happens to be here";
    auto index = openIndex(file);
    EXPECT_TRUE(fs::exists(folder / "index.sqlite.corrupt"));
    EXPECT_EQ(index->status().files, 0);
    index.reset();

    auto foreign = folder / "foreign.sqlite";
    sqlite3* database = nullptr;
    sqlite3_open(foreign.c_str(), &database);
    sqlite3_exec(database, "CREATE TABLE files (something TEXT); INSERT INTO files VALUES ('x');",
        nullptr, nullptr, nullptr);
    sqlite3_close(database);
    EXPECT_TRUE(openIndex(foreign));
    EXPECT_TRUE(fs::exists(folder / "foreign.sqlite.corrupt"));

    // A build that never finished is no index.
    auto unfinished = folder / "unfinished.sqlite";
    makeFile(folder / "root/a.txt");
    ASSERT_TRUE(openIndex(unfinished)->update(scopeOf(folder / "root"), testNow));
    sqlite3_open(unfinished.c_str(), &database);
    sqlite3_exec(
        database, "UPDATE meta SET value = '0' WHERE key = 'complete'", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    EXPECT_EQ(openIndex(unfinished)->status().files, 0);
    EXPECT_TRUE(fs::exists(folder / "unfinished.sqlite.corrupt"));
}

TEST(FileIndex, AFileAnotherProcessHoldsIsLeftAlone)
{
    TemporaryDirectory folder;
    auto file = folder / "index.sqlite";
    makeFile(folder / "root/a.txt");
    ASSERT_TRUE(openIndex(file)->update(scopeOf(folder / "root"), testNow));
    // As a first build without a journal holds it.
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    ASSERT_EQ(sqlite3_exec(database,
                  "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = OFF; BEGIN EXCLUSIVE;"
                  "UPDATE meta SET value = '0' WHERE key = 'complete';",
                  nullptr, nullptr, nullptr),
        SQLITE_OK);
    std::thread opening([&] {
        auto index = FileIndex::open(file);
        ASSERT_FALSE(index);
        EXPECT_NE(index.error().message.find("being built"), std::string::npos);
    });
    opening.join();
    EXPECT_FALSE(fs::exists(folder / "index.sqlite.corrupt"));
    sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(database);
}

TEST(FileIndex, AFileItCannotReadIsLeftAlone)
{
    TemporaryDirectory folder;
    auto file = folder / "index.sqlite";
    makeFile(folder / "root/a.txt");
    ASSERT_TRUE(openIndex(file)->update(scopeOf(folder / "root"), testNow));
    // Its write-ahead log cannot be opened: no sign of damage to the index itself.
    fs::create_directory(folder / "index.sqlite-wal");
    auto index = FileIndex::open(file);
    ASSERT_FALSE(index);
    EXPECT_NE(index.error().message.find("cannot be opened"), std::string::npos);
    EXPECT_FALSE(fs::exists(folder / "index.sqlite.corrupt"));
    fs::remove(folder / "index.sqlite-wal");
    EXPECT_EQ(openIndex(file)->status().files, 1);
}

TEST(FileIndex, StartingAfreshDeletesTheFileAndItsLogWhateverTheyHold)
{
    TemporaryDirectory folder;
    auto file = folder / "index.sqlite";
    makeFile(folder / "root/a.txt");
    ASSERT_TRUE(openIndex(file)->update(scopeOf(folder / "root"), testNow));
    auto fresh = FileIndex::open(file, FileIndex::Start::afresh);
    ASSERT_TRUE(fresh) << fresh.error().message;
    EXPECT_EQ((*fresh)->status().files, 0);
    fresh->reset();
    // Damage too is deleted rather than kept, and a stale log is not replayed into the new file.
    std::ofstream(file, std::ios::trunc) << "not an index";
    std::ofstream(file.string() + "-wal", std::ios::trunc) << "not a log";
    fresh = FileIndex::open(file, FileIndex::Start::afresh);
    ASSERT_TRUE(fresh) << fresh.error().message;
    EXPECT_EQ((*fresh)->status().files, 0);
    EXPECT_FALSE(fs::exists(folder / "index.sqlite.corrupt"));
}

TEST(FileIndex, OpenersRacingOverAFreshFileNeverSetItAside)
{
    TemporaryDirectory folder;
    makeFile(folder / "root/a.txt");
    auto file = folder / "index.sqlite";
    for (int round = 0; round < 30; ++round) {
        for (auto suffix : { "", "-wal", "-shm" })
            fs::remove(file.string() + suffix);
        // One builds, as a watcher does, while the others open the file as searches do.
        std::vector<std::thread> openers;
        openers.emplace_back([&] {
            auto index = FileIndex::open(file);
            ASSERT_TRUE(index) << index.error().message;
            auto updated = (*index)->update(scopeOf(folder / "root"), testNow);
            EXPECT_TRUE(updated) << updated.error().message;
        });
        for (int opener = 0; opener < 6; ++opener) {
            openers.emplace_back([&] {
                auto index = FileIndex::open(file);
                if (!index) {
                    EXPECT_NE(index.error().message.find("being built"), std::string::npos)
                        << index.error().message;
                }
            });
        }
        for (auto& opener : openers)
            opener.join();
        ASSERT_FALSE(fs::exists(folder / "index.sqlite.corrupt")) << "round " << round;
        ASSERT_EQ(openIndex(file)->status().files, 1) << "round " << round;
    }
}

TEST(FileIndex, AHundredThousandFiles)
{
    TemporaryDirectory tree;
    constexpr int folders = 200, perFolder = 500;
    // Links to one file a folder: a new inode costs far more than a name on some file systems.
    for (int folder = 0; folder < folders; ++folder) {
        auto path = tree / "root" / ("folder " + std::to_string(folder));
        auto first = path / ("item " + std::to_string(folder * perFolder) + ".log");
        makeFile(first, 60);
        for (int file = 1; file < perFolder; ++file) {
            auto name = path / ("item " + std::to_string(folder * perFolder + file) + ".log");
            ASSERT_EQ(link(first.c_str(), name.c_str()), 0);
        }
    }
    makeFile(tree / "root/folder 7/latest item.log");
    auto index = openIndex(tree / "index.sqlite");
    auto scope = scopeOf(tree / "root");
    scope.indexesContents = false;
    auto count = index->update(scope, testNow);
    ASSERT_TRUE(count);
    EXPECT_EQ(*count, folders * perFolder + folders + 1);
    auto found = index->search(nameQuery({ "item" }), 40);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->size(), 40u);
    EXPECT_EQ(found->front().name, "latest item.log");
    EXPECT_EQ(namesOf(index->search(nameQuery({ "item", "71234" }), 40)),
        std::vector<std::string> { "item 71234.log" });
    // Nothing changed: the update writes nothing and keeps the order.
    ASSERT_TRUE(index->update(scope, testNow));
    EXPECT_EQ(index->search(nameQuery({ "item" }), 40)->front().name, "latest item.log");
    EXPECT_EQ(index->status().files, *count);
}

TEST(FileIndex, AKillAtAnyMomentLeavesAUsableIndex)
{
    TemporaryDirectory tree;
    for (int folder = 0; folder < 30; ++folder) {
        for (int file = 0; file < 100; ++file)
            makeFile(tree / "root" / ("f" + std::to_string(folder))
                / ("file " + std::to_string(file) + ".txt"));
    }
    auto file = tree / "index.sqlite";
    auto scope = scopeOf(tree / "root");
    std::mt19937 random(20261125);
    for (int round = 0; round < 16; ++round) {
        // Half the rounds start from nothing, so that kills land in first builds too.
        if (round % 2 == 0) {
            for (auto suffix : { "", "-wal", "-shm" })
                fs::remove(file.string() + suffix);
        }
        std::unique_ptr<FileIndex> writer;
        int step = 0;
        ASSERT_TRUE(killWhileRunning(
            [&] {
                auto opened = FileIndex::open(file);
                writer = opened ? std::move(*opened) : nullptr;
                return writer != nullptr;
            },
            [&] {
                (void)writer->update(scope, testNow);
                auto changed = tree / "root/f1" / ("file " + std::to_string(step++ % 100) + ".txt");
                makeFile(changed, std::to_string(step));
                (void)writer->refresh({ changed.string() }, scope, testNow);
            },
            std::chrono::microseconds(random() % 150000)));

        auto index = FileIndex::open(file);
        ASSERT_TRUE(index) << "round " << round << ": " << index.error().message;
        EXPECT_EQ(integrity(file), "ok") << "round " << round;
        auto found = (*index)->search(nameQuery({ "file" }), 5);
        ASSERT_TRUE(found) << "round " << round << ": " << found.error().message;
        ASSERT_TRUE((*index)->update(scope, testNow));
        EXPECT_EQ((*index)->status().files, 30 * 100 + 30) << "round " << round;
    }
}

} // namespace
