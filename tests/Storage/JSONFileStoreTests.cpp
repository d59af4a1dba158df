#include "Storage/JSONFileStore.h"

#include "Clipboard/ClipboardHistory.h"
#include "Snippets/Snippet.h"
#include "Support/FakeFileWriter.h"
#include "Support/KillTesting.h"
#include "Support/TemporaryDirectory.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zeph {

namespace {

using namespace std::chrono_literals;
using Store = JSONFileStore<ClipboardHistory>;

const Date someDate = std::chrono::sys_days(std::chrono::year(2026) / 11 / 13) + 5h + 11min + 39s;

ClipboardHistory historyOf(int count, const std::string& label = "entry")
{
    ClipboardHistory history;
    for (int index = 0; index < count; ++index) {
        history.items.push_back(ClipboardItem { .id = label + "-" + std::to_string(index),
            .text = label + " number " + std::to_string(index),
            .date = someDate - std::chrono::seconds(index) });
    }
    return history;
}

std::string encoded(const ClipboardHistory& history)
{
    return Json::documentText(toJSON(history)).value();
}

void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

// Permission bits do not stop a privileged process (root in CI containers); the tests that rely on
// them find out by trying.
bool permissionsAreEnforced(const TemporaryDirectory& folder)
{
    auto probe = folder / "probe";
    writeFile(probe, "x");
    chmod(probe.c_str(), 0);
    int descriptor = open(probe.c_str(), O_RDONLY);
    if (descriptor >= 0)
        close(descriptor);
    unlink(probe.c_str());
    return descriptor < 0;
}

} // namespace

TEST(JSONFileStore, MissingFileIsAFirstRunAndTheFirstSaveMakesTheFolder)
{
    TemporaryDirectory folder;
    auto nested = folder / "a/b";
    Store store("clipboard.json", nested);
    EXPECT_EQ(store.load(), std::nullopt);
    EXPECT_EQ(store.lastError(), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(nested)) << "loading must not create anything";

    store.save(historyOf(2));
    EXPECT_EQ(store.lastError(), std::nullopt);
    EXPECT_EQ(readFile(nested / "clipboard.json"), encoded(historyOf(2)));
    EXPECT_EQ(Store("clipboard.json", nested).load(), historyOf(2));
}

TEST(JSONFileStore, WritesPrettySortedKeysAndEqualContentGivesEqualBytes)
{
    TemporaryDirectory folder;
    ClipboardHistory history { .items = { ClipboardItem { .id = "A",
                                   .kind = ClipboardKind::link,
                                   .text = "https://x.org",
                                   .sourceApp = "Firefox",
                                   .date = someDate,
                                   .pinned = true } } };
    Store store("clipboard.json", folder.path());
    store.save(history);
    auto first = readFile(folder / "clipboard.json");
    EXPECT_EQ(first, R"({
  "items": [
    {
      "date": "2026-11-13T05:11:39Z",
      "id": "A",
      "kind": "link",
      "pinned": true,
      "sourceApp": "Firefox",
      "text": "https://x.org"
    }
  ]
}
)");
    Store("clipboard.json", folder.path()).save(history);
    EXPECT_EQ(readFile(folder / "clipboard.json"), first);
    // Nothing but the document is left in the folder: the temporary file became the document.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST(JSONFileStore, UndecodableFileIsSetAsideWithItsBytesAndNotReadAgain)
{
    const std::pair<const char*, std::string> cases[] = {
        { "not JSON", "not json" },
        { "empty file", "" },
        { "truncated",
            R"({"items":[{"id":"x","kind":"text","text":"a","date":"2026-11-13T05:11:39Z","pin)" },
        { "not an object", "[]" },
        { "wrong type",
            R"({"items":[{"id":1,"kind":"text","text":"a","date":"2026-11-13T05:11:39Z","pinned":false}]})" },
        { "missing key",
            R"({"items":[{"id":"x","kind":"text","text":"a","date":"2026-11-13T05:11:39Z"}]})" },
        { "date with fractions",
            R"({"items":[{"id":"x","kind":"text","text":"a","date":"2026-11-13T05:11:39.5Z","pinned":false}]})" },
        { "unknown kind",
            R"({"items":[{"id":"x","kind":"sound","text":"a","date":"2026-11-13T05:11:39Z","pinned":false}]})" },
    };
    for (auto& [name, bytes] : cases) {
        SCOPED_TRACE(name);
        TemporaryDirectory folder;
        writeFile(folder / "clipboard.json", bytes);
        Store store("clipboard.json", folder.path());
        EXPECT_EQ(store.load(), std::nullopt);
        ASSERT_TRUE(store.lastError());
        EXPECT_TRUE(store.lastError()->message.starts_with("clipboard.json is not valid"))
            << store.lastError()->message;
        EXPECT_FALSE(std::filesystem::exists(folder / "clipboard.json"));
        EXPECT_EQ(readFile(folder / "clipboard.json.corrupt"), bytes);

        // The store has had its look: a good file appearing now is not seen.
        writeFile(folder / "clipboard.json", encoded(historyOf(1)));
        EXPECT_EQ(store.load(), std::nullopt);
    }
}

// A store that reads again before each change must see every other writer, whatever its bytes.
TEST(JSONFileStore, ReloadSeesWhatOthersWroteAndKnowsItsOwnBytes)
{
    TemporaryDirectory folder;
    Store store("clipboard.json", folder.path());
    EXPECT_EQ(store.reload(), std::nullopt);
    store.save(historyOf(2));
    EXPECT_EQ(store.reload(), historyOf(2));

    // Another writer's document of the very same size.
    Store("clipboard.json", folder.path()).save(historyOf(2, "again"));
    EXPECT_EQ(store.reload(), historyOf(2, "again"));

    writeFile(folder / "clipboard.json", "not json");
    EXPECT_EQ(store.reload(), std::nullopt);
    ASSERT_TRUE(store.lastError());
    EXPECT_EQ(readFile(folder / "clipboard.json.corrupt"), "not json");
    writeFile(folder / "clipboard.json", encoded(historyOf(3)));
    EXPECT_EQ(store.reload(), historyOf(3));
    EXPECT_FALSE(store.lastError());

    std::filesystem::remove(folder / "clipboard.json");
    EXPECT_EQ(store.reload(), std::nullopt);
    store.save(historyOf(1));
    EXPECT_EQ(readFile(folder / "clipboard.json"), encoded(historyOf(1)));
}

// Saving a list again takes each unchanged record's text as it was; the bytes must be the ones a
// fresh encoding gives, whatever moved, changed, repeated or came from another writer.
TEST(JSONFileStore, ASavedListIsExactWhicheverRecordsChanged)
{
    using Collections = std::vector<SnippetCollection>;
    TemporaryDirectory folder;
    JSONFileStore<Collections> store("snippets.json", folder.path());
    auto wholeText = [](const Collections& collections) {
        return Json::documentText(DocumentCoding<Collections>::encode(collections)).value();
    };
    auto named = [](const char* id, const char* name) {
        return SnippetCollection { .id = id, .name = name };
    };
    Collections first { named("a", "A"), named("b", "B"), named("c", "C") };
    Collections second { named("c", "C"), named("b", "Changed"), named("d", "D"),
        named("d", "Twin"), named("a", "A") };
    EXPECT_EQ(store.reload(), std::nullopt);
    store.save(first);
    EXPECT_EQ(readFile(folder / "snippets.json"), wholeText(first));
    store.save(second);
    EXPECT_EQ(readFile(folder / "snippets.json"), wholeText(second));

    JSONFileStore<Collections>("snippets.json", folder.path()).save(first);
    EXPECT_EQ(store.reload(), first);
    store.save(second);
    EXPECT_EQ(readFile(folder / "snippets.json"), wholeText(second));
    store.save({});
    EXPECT_EQ(readFile(folder / "snippets.json"), "[]\n");
}

// A list read from another writer keeps that writer's bytes for the records that did not change:
// they decode to the same records, and encoding them again would only cost time.
TEST(JSONFileStore, RecordsReadAgainKeepTheirBytesUntilTheyChange)
{
    using Collections = std::vector<SnippetCollection>;
    TemporaryDirectory folder;
    writeFile(folder / "snippets.json",
        "[{\"id\": \"a\", \"name\": \"A\", \"snippets\": []},\n"
        "{\"name\":\"B\",\"id\":\"b\",\"snippets\":[]}]");
    JSONFileStore<Collections> store("snippets.json", folder.path());
    auto read = store.reload();
    ASSERT_TRUE(read);
    (*read)[1].name = "Changed";
    read->push_back(SnippetCollection { .id = "c", .name = "C" });
    store.save(*read);
    auto freshText = [](const SnippetCollection& collection) {
        return Json::elementText(toJSON(collection)).value();
    };
    EXPECT_EQ(readFile(folder / "snippets.json"),
        "[\n  {\"id\": \"a\", \"name\": \"A\", \"snippets\": []},\n  " + freshText((*read)[1])
            + ",\n  " + freshText((*read)[2]) + "\n]\n");
    EXPECT_EQ(JSONFileStore<Collections>("snippets.json", folder.path()).load(), read);
}

// Read again after another writer moved, dropped, repeated and added records, a record whose bytes
// came back is the record read before: one without an id keeps the id it was given, which decoding
// it afresh would not. A new record with a fault is named by its place all the same.
TEST(JSONFileStore, RecordsThatComeBackAreTheRecordsReadBefore)
{
    using Collections = std::vector<SnippetCollection>;
    TemporaryDirectory folder;
    std::string a = R"({"name": "A", "snippets": []})";
    std::string b = R"({"name": "B", "snippets": []})";
    std::string c = R"({"id": "c", "name": "C", "snippets": []})";
    writeFile(folder / "snippets.json", "[" + a + ", " + b + ",\n" + b + ", " + c + "]");
    JSONFileStore<Collections> store("snippets.json", folder.path());
    auto first = store.reload().value();
    ASSERT_EQ(first.size(), 4u);

    writeFile(folder / "snippets.json",
        "[" + c + ", " + b + R"(, {"name": "New", "snippets": []}, )" + a + ", " + b + ", " + b
            + "]");
    auto second = store.reload().value();
    ASSERT_EQ(second.size(), 6u);
    std::vector<std::string> names;
    for (auto& collection : second)
        names.push_back(collection.name);
    EXPECT_EQ(names, (std::vector<std::string> { "C", "B", "New", "A", "B", "B" }));
    EXPECT_EQ(second[0], first[3]);
    EXPECT_EQ(second[1].id, first[1].id);
    EXPECT_EQ(second[3].id, first[0].id);
    EXPECT_EQ(second[4].id, first[2].id);
    std::set<std::string> ids;
    for (auto& collection : second)
        ids.insert(collection.id);
    EXPECT_EQ(ids.size(), 6u);

    writeFile(folder / "snippets.json", "[" + c + ", " + b + R"(, {"isEnabled": "yes"}])");
    EXPECT_EQ(store.reload(), std::nullopt);
    EXPECT_EQ(store.lastError()->message,
        "snippets.json is not valid: collection 3: \"isEnabled\" must be true or false.");
}

TEST(JSONFileStore, ASecondCorruptEpisodeReplacesTheFirstSidecar)
{
    TemporaryDirectory folder;
    writeFile(folder / "snippets.json", "first bad");
    EXPECT_EQ(JSONFileStore<std::vector<SnippetCollection>>("snippets.json", folder.path()).load(),
        std::nullopt);
    writeFile(folder / "snippets.json", R"([{"isEnabled": "yes"}])");
    JSONFileStore<std::vector<SnippetCollection>> store("snippets.json", folder.path());
    EXPECT_EQ(store.load(), std::nullopt);
    EXPECT_EQ(store.lastError()->message,
        "snippets.json is not valid: collection 1: \"isEnabled\" must be true or false.");
    EXPECT_EQ(readFile(folder / "snippets.json.corrupt"), R"([{"isEnabled": "yes"}])");
}

TEST(JSONFileStore, FailedWriteKeepsTheOldFileAndTheNewValueInMemory)
{
    TemporaryDirectory folder;
    Store("clipboard.json", folder.path()).save(historyOf(1));
    FakeFileWriter writer;
    Store store("clipboard.json", folder.path(), writer);
    store.save(historyOf(3));
    ASSERT_TRUE(store.lastError());
    EXPECT_NE(store.lastError()->message.find("No space left"), std::string::npos);
    EXPECT_EQ(writer.writes.size(), 1u);
    EXPECT_EQ(readFile(folder / "clipboard.json"), encoded(historyOf(1)));
    EXPECT_EQ(store.load(), historyOf(3));

    writer.isFailing = false;
    store.save(historyOf(4));
    EXPECT_EQ(store.lastError(), std::nullopt);
    EXPECT_EQ(readFile(folder / "clipboard.json"), encoded(historyOf(4)));
}

TEST(JSONFileStore, EncodingFailureLeavesTheFileAsItWas)
{
    TemporaryDirectory folder;
    Store store("clipboard.json", folder.path());
    store.save(historyOf(1));
    auto broken = historyOf(1);
    broken.items[0].text = "\xff not UTF-8";
    store.save(broken);
    ASSERT_TRUE(store.lastError());
    EXPECT_EQ(readFile(folder / "clipboard.json"), encoded(historyOf(1)));
    EXPECT_EQ(store.load(), broken);
}

TEST(JSONFileStore, ClearForgetsAndIgnoresAMissingFile)
{
    TemporaryDirectory folder;
    Store store("clipboard.json", folder.path());
    store.clear();
    EXPECT_EQ(store.lastError(), std::nullopt);
    writeFile(folder / "clipboard.json", encoded(historyOf(2)));
    EXPECT_EQ(store.load(), std::nullopt) << "a cleared store does not go back to the disk";

    Store other("clipboard.json", folder.path());
    EXPECT_EQ(other.load(), historyOf(2));
    other.clear();
    EXPECT_FALSE(std::filesystem::exists(folder / "clipboard.json"));
    EXPECT_EQ(other.load(), std::nullopt);
}

TEST(JSONFileStore, ADirectoryWhereTheFileShouldBeIsNeverTouched)
{
    TemporaryDirectory folder;
    std::filesystem::create_directories(folder / "clipboard.json");
    writeFile(folder / "clipboard.json/keep", "user data");
    Store store("clipboard.json", folder.path());
    EXPECT_EQ(store.load(), std::nullopt);
    EXPECT_EQ(store.lastError(), std::nullopt);
    store.save(historyOf(1));
    EXPECT_TRUE(store.lastError());
    EXPECT_EQ(readFile(folder / "clipboard.json/keep"), "user data");
    EXPECT_EQ(store.load(), historyOf(1));

    // A named pipe in the file's place is no document, and reading it must not hang.
    TemporaryDirectory pipeFolder;
    ASSERT_EQ(mkfifo((pipeFolder / "clipboard.json").c_str(), 0600), 0);
    Store pipeStore("clipboard.json", pipeFolder.path());
    EXPECT_EQ(pipeStore.load(), std::nullopt);
    EXPECT_EQ(pipeStore.lastError(), std::nullopt);

    // A file where the folder should be: the folder cannot be made.
    writeFile(folder / "blocked", "user data");
    Store blocked("clipboard.json", folder / "blocked/inner");
    blocked.save(historyOf(1));
    ASSERT_TRUE(blocked.lastError());
    EXPECT_TRUE(blocked.lastError()->message.starts_with("Could not create the folder"))
        << blocked.lastError()->message;
    EXPECT_EQ(readFile(folder / "blocked"), "user data");
}

TEST(JSONFileStore, AFileThatCannotBeSetAsideIsNeverOverwritten)
{
    TemporaryDirectory folder;
    writeFile(folder / "clipboard.json", "not json");
    // A non-empty folder in the sidecar's place makes the move fail.
    std::filesystem::create_directories(folder / "clipboard.json.corrupt");
    writeFile(folder / "clipboard.json.corrupt/keep", "x");
    Store store("clipboard.json", folder.path());
    EXPECT_EQ(store.load(), std::nullopt);
    EXPECT_TRUE(store.lastError());
    EXPECT_EQ(readFile(folder / "clipboard.json"), "not json");

    store.save(historyOf(1));
    ASSERT_TRUE(store.lastError());
    EXPECT_NE(store.lastError()->message.find("was not overwritten"), std::string::npos);
    EXPECT_EQ(readFile(folder / "clipboard.json"), "not json");

    // Once the way is clear, the next save sets the file aside and writes.
    std::filesystem::remove_all(folder / "clipboard.json.corrupt");
    store.save(historyOf(1));
    EXPECT_EQ(store.lastError(), std::nullopt);
    EXPECT_EQ(readFile(folder / "clipboard.json.corrupt"), "not json");
    EXPECT_EQ(readFile(folder / "clipboard.json"), encoded(historyOf(1)));
}

TEST(JSONFileStore, SavingWithoutLoadingStillSetsAnUndecodableFileAside)
{
    TemporaryDirectory folder;
    writeFile(folder / "clipboard.json", "{ half a document");
    Store store("clipboard.json", folder.path());
    store.save(historyOf(1));
    EXPECT_EQ(store.lastError(), std::nullopt);
    EXPECT_EQ(readFile(folder / "clipboard.json.corrupt"), "{ half a document");
    EXPECT_EQ(readFile(folder / "clipboard.json"), encoded(historyOf(1)));
}

TEST(JSONFileStore, AnUnreadableFileIsKeptAsideBeforeTheFirstSave)
{
    TemporaryDirectory folder;
    if (!permissionsAreEnforced(folder))
        GTEST_SKIP() << "permission bits do not stop this process from reading";
    writeFile(folder / "clipboard.json", "the user's bytes");
    chmod((folder / "clipboard.json").c_str(), 0);
    Store store("clipboard.json", folder.path());
    EXPECT_EQ(store.load(), std::nullopt);
    EXPECT_EQ(store.lastError(), std::nullopt);
    store.save(historyOf(1));
    EXPECT_EQ(store.lastError(), std::nullopt);
    chmod((folder / "clipboard.json.corrupt").c_str(), 0600);
    EXPECT_EQ(readFile(folder / "clipboard.json.corrupt"), "the user's bytes");
    EXPECT_EQ(readFile(folder / "clipboard.json"), encoded(historyOf(1)));
}

TEST(JSONFileStore, AReadOnlyFolderFailsTheSaveAndKeepsTheFile)
{
    TemporaryDirectory folder;
    if (!permissionsAreEnforced(folder))
        GTEST_SKIP() << "permission bits do not stop this process from writing";
    auto data = folder / "data";
    std::filesystem::create_directories(data);
    writeFile(data / "clipboard.json", encoded(historyOf(1)));
    chmod(data.c_str(), 0500);
    Store store("clipboard.json", data);
    EXPECT_EQ(store.load(), historyOf(1));
    store.save(historyOf(2));
    EXPECT_TRUE(store.lastError());
    EXPECT_EQ(store.load(), historyOf(2));
    EXPECT_EQ(readFile(data / "clipboard.json"), encoded(historyOf(1)));
}

TEST(JSONFileStore, ThreadsSharingAStoreTakeTurns)
{
    TemporaryDirectory folder;
    Store store("clipboard.json", folder.path());
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&store, thread] {
            for (int round = 0; round < 25; ++round) {
                store.save(historyOf(round % 5 + 1, "thread" + std::to_string(thread)));
                (void)store.load();
                (void)store.lastError();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    // Whatever was saved last is both in memory and on disk.
    EXPECT_EQ(Store("clipboard.json", folder.path()).load(), store.load());
}

TEST(JSONFileStore, AKillAtAnyMomentLeavesTheOldOrTheNewDocument)
{
    TemporaryDirectory folder;
    // Two versions of one size and different text: a torn or half-written file equals neither.
    // Their saves take as long, so the kills land in either about as often, however slow the build.
    auto old = historyOf(1000, "older"), newer = historyOf(1000, "newer");
    auto oldBytes = encoded(old), newBytes = encoded(newer);
    Store("clipboard.json", folder.path()).save(old);
    std::mt19937 random(20261113);
    int sawNew = 0;
    for (int round = 0; round < 30; ++round) {
        std::optional<Store> store;
        bool isNew = false;
        ASSERT_TRUE(killWhileRunning(
            [&] {
                store.emplace("clipboard.json", folder.path());
                store->save(newer);
                return true;
            },
            [&] {
                isNew = !isNew;
                store->save(isNew ? old : newer);
            },
            std::chrono::microseconds(random() % 60000)));
        auto bytes = readFile(folder / "clipboard.json");
        ASSERT_TRUE(bytes == oldBytes || bytes == newBytes)
            << "round " << round << ": " << bytes.size() << " bytes";
        sawNew += bytes == newBytes;
    }
    EXPECT_GT(sawNew, 0);
}

TEST(JSONFileStore, EightProcessesChangingTheHistoryAtOnceLoseNoEntry)
{
    TemporaryDirectory folder;
    constexpr int processes = 8, entries = 50;
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int entry = 0; entry < entries; ++entry) {
                auto text = std::to_string(process) + "/" + std::to_string(entry);
                auto changed = changeDocument(folder.path(), "clipboard.json", ClipboardHistory {},
                    [&](ClipboardHistory& history) {
                        history.add(
                            ClipboardItem { .id = text, .text = text, .date = someDate }, 1000);
                        return true;
                    });
                if (!changed)
                    _exit(1);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (auto child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    auto history = Store("clipboard.json", folder.path()).load();
    ASSERT_TRUE(history);
    std::set<std::string> texts;
    for (auto& item : history->items)
        texts.insert(item.text);
    EXPECT_EQ(texts.size(), std::size_t { processes * entries });
    EXPECT_EQ(history->items.size(), std::size_t { processes * entries });
}

TEST(JSONFileStore, ALockedChangeThatDeclinesWritesNothing)
{
    TemporaryDirectory folder;
    writeFile(folder / "clipboard.json", "garbage");
    auto result = changeDocument(
        folder.path(), "clipboard.json", historyOf(1), [](ClipboardHistory&) { return false; });
    ASSERT_TRUE(result);
    EXPECT_EQ(result->document, historyOf(1));
    ASSERT_TRUE(result->loadError);
    EXPECT_FALSE(std::filesystem::exists(folder / "clipboard.json"));
    EXPECT_EQ(readFile(folder / "clipboard.json.corrupt"), "garbage");
}

} // namespace zeph
