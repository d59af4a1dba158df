#include "Files/FileSearcher.h"

#include "FileTree.h"

#include <condition_variable>
#include <deque>
#include <mutex>

#include <gtest/gtest.h>

namespace {

using namespace zeph;

TEST(FileSearcher, BuildsThePredicateOfARequest)
{
    SearchSettings settings;
    settings.fileCategories = {};
    FileSearchRequest request { .term = "tax \"q\"", .limit = 40 };
    EXPECT_EQ(FileSearcher::predicate(request, settings),
        "kMDItemDisplayName == \"tax*\"cdw && kMDItemDisplayName == \"\\\"q\\\"*\"cdw"
        " && kMDItemContentType != \"public.folder\"");

    settings.fileCategories = { FileCategory::folders, FileCategory::other };
    EXPECT_EQ(FileSearcher::predicate(request, settings),
        "kMDItemDisplayName == \"tax*\"cdw && kMDItemDisplayName == \"\\\"q\\\"*\"cdw");

    settings.fileCategories = { FileCategory::pdfs, FileCategory::images };
    EXPECT_EQ(FileSearcher::predicate({ .term = "tax", .limit = 40 }, settings),
        "kMDItemDisplayName == \"tax*\"cdw && (kMDItemContentTypeTree == \"public.image\" || "
        "kMDItemContentTypeTree == \"com.adobe.pdf\") && kMDItemContentType != \"public.folder\"");

    EXPECT_EQ(FileSearcher::predicate({ .term = "a b", .contents = true, .limit = 40 }, settings),
        "kMDItemTextContent == \"a*\"cdw && kMDItemTextContent == \"b*\"cdw");
}

TEST(FileSearcher, DropsBundlesAndTitlesRowsWithTheirFolder)
{
    std::vector<IndexedFile> found {
        { .path = "/Applications/Foo.app/Contents/Info.plist", .name = "Info.plist" },
        { .path = "/Applications/Foo.app", .name = "Foo.app", .isFolder = true },
        { .path = "/home/ann/Documents/tax.pdf", .name = "tax.pdf" },
        { .path = "/home/ann/Taxes", .name = "Taxes", .isFolder = true },
        { .path = "/tax", .name = "" },
    };
    auto items = FileSearcher::items(found, "/home/ann", 40);
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].title, "tax.pdf");
    EXPECT_EQ(items[0].subtitle, "~/Documents");
    EXPECT_EQ(items[0].kind, ItemKind::file);
    EXPECT_EQ(items[0].id, "/home/ann/Documents/tax.pdf");
    EXPECT_EQ(items[0].path, items[0].id);
    EXPECT_EQ(items[1].kind, ItemKind::folder);
    EXPECT_EQ(items[1].subtitle, "~");
    EXPECT_EQ(items[2].title, "tax");
    EXPECT_EQ(items[2].subtitle, "/");
    EXPECT_EQ(FileSearcher::items(found, "/home/ann", 1).size(), 1u);
}

// The caller's thread: tasks the searcher posts wait here until the test runs them.
class MainLoop {
public:
    FileSearcher::Post post()
    {
        return [this](std::function<void()> task) {
            std::lock_guard lock(m_mutex);
            m_tasks.push_back(std::move(task));
            m_posted.notify_all();
        };
    }

    // Runs what was posted, waiting up to `wait` for the first task; false when none came.
    bool runPosted(std::chrono::milliseconds wait = std::chrono::seconds(10))
    {
        std::deque<std::function<void()>> tasks;
        {
            std::unique_lock lock(m_mutex);
            if (!m_posted.wait_for(lock, wait, [&] { return !m_tasks.empty(); }))
                return false;
            tasks.swap(m_tasks);
        }
        for (auto& task : tasks)
            task();
        return true;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_posted;
    std::deque<std::function<void()>> m_tasks;
};

class FileSearcherRunning : public testing::Test {
protected:
    void SetUp() override
    {
        makeFile(m_tree / "home/Documents/tax 2024.pdf", 20);
        makeFile(m_tree / "home/Documents/tax 2025.pdf", 10);
        makeFile(m_tree / "home/Apps/Tax.app/Contents/tax.plist", 5);
        makeFile(m_tree / "home/notes.txt", "the tax office called", 30);
        auto index = FileIndex::open(m_tree / "index.sqlite");
        ASSERT_TRUE(index);
        ASSERT_TRUE((*index)->update(scopeOf(m_tree / "home"), testNow));
    }

    std::string home() const { return (m_tree / "home").string(); }
    FileSearcher searcher(int resultLimit = 40)
    {
        return FileSearcher(m_tree / "index.sqlite", home(), m_loop.post(), resultLimit);
    }

    TemporaryDirectory m_tree;
    MainLoop m_loop;
    SearchSettings m_settings;
};

std::vector<std::string> titles(const std::vector<SearchItem>& items)
{
    std::vector<std::string> list;
    for (auto& item : items)
        list.push_back(item.title);
    return list;
}

TEST_F(FileSearcherRunning, AnswersOnTheCallersThread)
{
    auto files = searcher();
    std::optional<std::vector<SearchItem>> answer;
    auto caller = std::this_thread::get_id();
    files.start({ .term = "tax", .limit = 40 }, m_settings, [&](std::vector<SearchItem> items) {
        EXPECT_TRUE(std::this_thread::get_id() == caller);
        answer = std::move(items);
    });
    ASSERT_TRUE(m_loop.runPosted());
    ASSERT_TRUE(answer);
    EXPECT_EQ(titles(*answer), (std::vector<std::string> { "tax 2025.pdf", "tax 2024.pdf" }));
    EXPECT_EQ((*answer)[0].subtitle, "~/Documents");

    answer.reset();
    files.start({ .term = "office", .contents = true, .limit = 40 }, m_settings,
        [&](std::vector<SearchItem> items) { answer = std::move(items); });
    ASSERT_TRUE(m_loop.runPosted());
    EXPECT_EQ(titles(*answer), std::vector<std::string> { "notes.txt" });

    // The launcher's limit, and the request's.
    auto one = searcher(1);
    answer.reset();
    one.start({ .term = "tax", .limit = 40 }, m_settings,
        [&](std::vector<SearchItem> items) { answer = std::move(items); });
    ASSERT_TRUE(m_loop.runPosted());
    EXPECT_EQ(titles(*answer), std::vector<std::string> { "tax 2025.pdf" });
}

TEST_F(FileSearcherRunning, ANewerStartEndsTheOlderOne)
{
    auto files = searcher();
    std::vector<std::string> heard;
    for (auto term : { "t", "ta", "tax", "tax 2024" }) {
        files.start({ .term = term, .limit = 40 }, m_settings,
            [&heard, term = std::string(term)](std::vector<SearchItem> items) {
                heard.push_back(term + ": " + std::to_string(items.size()));
            });
    }
    // Whatever the older queries did, only the last one's answer arrives.
    while (m_loop.runPosted(std::chrono::milliseconds(500))) { }
    EXPECT_EQ(heard, std::vector<std::string> { "tax 2024: 1" });

    heard.clear();
    files.start({ .term = "tax", .limit = 40 }, m_settings,
        [&](std::vector<SearchItem>) { heard.push_back("cancelled"); });
    files.cancel();
    while (m_loop.runPosted(std::chrono::milliseconds(500))) { }
    EXPECT_TRUE(heard.empty());

    // A term with no word starts nothing.
    files.start({ .term = "  ", .limit = 40 }, m_settings,
        [&](std::vector<SearchItem>) { heard.push_back("nothing"); });
    EXPECT_FALSE(m_loop.runPosted(std::chrono::milliseconds(300)));
}

TEST_F(FileSearcherRunning, AnAnswerAfterTheSearcherIsGoneIsDropped)
{
    bool isHeard = false;
    {
        auto files = searcher();
        files.start({ .term = "tax", .limit = 40 }, m_settings,
            [&](std::vector<SearchItem>) { isHeard = true; });
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    while (m_loop.runPosted(std::chrono::milliseconds(300))) { }
    EXPECT_FALSE(isHeard);
}

} // namespace
