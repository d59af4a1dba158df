#include "Files/FileWatcher.h"

#include "FileTree.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
namespace fs = std::filesystem;

// A watcher running on a thread of its own, and a second connection that reads while it writes,
// as the launcher does.
class RunningWatcher {
public:
    RunningWatcher(const fs::path& indexFile, FileIndex::Scope scope)
        : m_index(std::move(*FileIndex::open(indexFile)))
        , m_watcher(
              *m_index, std::move(scope), [] { return testNow; },
              [this](const std::string& message) { messages.push_back(message); })
        , m_thread([this] { m_failure = m_watcher.run(m_stop, [this] { m_isReady = true; }); })
        , m_reader(std::move(*FileIndex::open(indexFile)))
    {
        for (int step = 0; step < 600 && !m_isReady; ++step)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ~RunningWatcher()
    {
        m_stop = true;
        m_thread.join();
        EXPECT_FALSE(m_failure);
    }

    // Whether a query comes to find what is expected, polling with a generous limit.
    bool eventually(FileQuery query, const std::vector<std::string>& expected)
    {
        for (int step = 0; step < 100; ++step) {
            if (namesOf(m_reader->search(query, 10)) == expected)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        ADD_FAILURE() << "found instead: "
                      << testing::PrintToString(namesOf(m_reader->search(query, 10)));
        return false;
    }

    std::vector<std::string> messages;

private:
    std::unique_ptr<FileIndex> m_index;
    FileWatcher m_watcher;
    std::atomic<bool> m_stop = false;
    std::atomic<bool> m_isReady = false;
    std::optional<Error> m_failure;
    std::thread m_thread;
    std::unique_ptr<FileIndex> m_reader;
};

TEST(FileWatcher, SeesCreationsRenamesDeletionsAndNewText)
{
    TemporaryDirectory tree;
    makeFile(tree / "root/first.txt", "alpha");
    RunningWatcher watcher(tree / "index.sqlite", scopeOf(tree / "root"));
    auto inside = [](std::string word) {
        return FileQuery { .field = FileQuery::Field::contents, .words = { std::move(word) } };
    };
    EXPECT_TRUE(watcher.eventually(nameQuery({ "first" }), { "first.txt" }));
    EXPECT_TRUE(watcher.eventually(inside("alpha"), { "first.txt" }));
    makeFile(tree / "root/new folder/second.txt");
    EXPECT_TRUE(watcher.eventually(nameQuery({ "second" }), { "second.txt" }));
    makeFile(tree / "root/new folder/third.txt");
    EXPECT_TRUE(watcher.eventually(nameQuery({ "third" }), { "third.txt" }));
    fs::rename(tree / "root/first.txt", tree / "root/renamed.txt");
    EXPECT_TRUE(watcher.eventually(nameQuery({ "renamed" }), { "renamed.txt" }));
    EXPECT_TRUE(watcher.eventually(nameQuery({ "first" }), {}));
    makeFile(tree / "root/renamed.txt", "omega");
    EXPECT_TRUE(watcher.eventually(inside("omega"), { "renamed.txt" }));
    EXPECT_TRUE(watcher.eventually(inside("alpha"), {}));
    fs::remove_all(tree / "root/new folder");
    EXPECT_TRUE(watcher.eventually(nameQuery({ "second" }), {}));
    EXPECT_TRUE(watcher.messages.empty());
}

TEST(FileWatcher, FollowsTheRecentlyUsedList)
{
    TemporaryDirectory tree;
    makeFile(tree / "root/plan a.txt", 100);
    makeFile(tree / "root/plan b.txt", 50);
    auto scope = scopeOf(tree / "root");
    scope.recentlyUsed = tree / "share/recently-used.xbel";
    fs::create_directories(tree / "share");
    RunningWatcher watcher(tree / "index.sqlite", scope);
    EXPECT_TRUE(watcher.eventually(nameQuery({ "plan" }), { "plan b.txt", "plan a.txt" }));
    // The desktop replaces the list as a whole when a file is opened.
    auto moment = isoDateText(
        Date(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())));
    std::ofstream(tree / "share/list.tmp")
        << "<?xml version=\"1.0\"?><xbel version=\"1.0\"><bookmark href=\"file://"
        << (tree / "root").string() << "/plan%20a.txt\" added=\"" << moment << "\" modified=\""
        << moment << "\" visited=\"" << moment << "\"/></xbel>";
    fs::rename(tree / "share/list.tmp", tree / "share/recently-used.xbel");
    EXPECT_TRUE(watcher.eventually(nameQuery({ "plan" }), { "plan a.txt", "plan b.txt" }));
}

} // namespace
