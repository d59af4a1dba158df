#include "Logic/AppModel.h"

#include "FakeFolderWatching.h"
#include "FakeMainLoop.h"
#include "Support/FileLock.h"
#include "Support/TemporaryDirectory.h"

#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

template <typename Document> void writeDocument(const fs::path& folder, const Document& value)
{
    auto name = std::is_same_v<Document, std::vector<Workflow>> ? Paths::workflowsFile
                                                                : Paths::snippetsFile;
    std::ofstream(folder / name) << *Json::documentText(DocumentCoding<Document>::encode(value));
}

Workflow workflowNamed(std::string id, std::string name)
{
    Workflow workflow;
    workflow.id = std::move(id);
    workflow.name = std::move(name);
    return workflow;
}

// A model over a temporary data folder, with the loop and watcher a test drives.
struct ModelFixture : testing::Test {
    TemporaryDirectory folder;
    FakeMainLoop loop;
    FakeFolderWatching watching;
    std::unique_ptr<AppModel> model;

    void start() { model = std::make_unique<AppModel>(folder.path(), loop, watching, "/home/ann"); }
    // Lets the debounces run out and the writes happen.
    void settle(std::chrono::milliseconds time = 2000ms)
    {
        loop.advance(time);
        loop.runBackground();
    }
    fs::path file(std::string_view name) const { return folder.path() / name; }
};

TEST_F(ModelFixture, LoadsEveryDocumentAndWritesNothingAtStart)
{
    AppSettings settings;
    settings.themeID = "midnight";
    std::ofstream(file(Paths::settingsFile)) << *Json::documentText(toJSON(settings));
    writeDocument(folder.path(), std::vector<Workflow> { workflowNamed("w1", "Deploy") });
    start();
    EXPECT_EQ(model->settings().get().themeID, "midnight");
    ASSERT_EQ(model->workflows().get().size(), 1u);
    // Without a file, the starter collection.
    EXPECT_EQ(model->snippetCollections().get(),
        std::vector<SnippetCollection> { SnippetCollection::starter() });
    EXPECT_EQ(watching.watched, folder.path());
    settle(60s);
    for (auto name :
        { Paths::themesFile, Paths::snippetsFile, Paths::knowledgeFile, Paths::clipboardFile })
        EXPECT_FALSE(fs::exists(file(name))) << name;
}

TEST_F(ModelFixture, SavesAfterItsDebounceOnceForABurst)
{
    start();
    for (auto id : { "a", "b", "c" }) {
        model->settings().change([&](AppSettings& settings) { settings.themeID = id; });
        loop.advance(100ms);
        loop.runBackground();
    }
    EXPECT_FALSE(fs::exists(file(Paths::settingsFile)));
    loop.advance(300ms);
    loop.runBackground();
    auto written = readFile(file(Paths::settingsFile));
    EXPECT_NE(written.find("\"themeID\": \"c\""), std::string::npos);
    // The clipboard waits a second.
    model->addClipboardItem({ .id = "1", .text = "hello", .date = loop.now() });
    EXPECT_EQ(model->engine().clipboard().size(), 1u);
    settle(900ms);
    EXPECT_FALSE(fs::exists(file(Paths::clipboardFile)));
    settle(200ms);
    EXPECT_NE(readFile(file(Paths::clipboardFile)).find("hello"), std::string::npos);
}

TEST_F(ModelFixture, ItsOwnWriteComingBackChangesNothing)
{
    start();
    int published = 0;
    auto counting = model->workflows().subscribe([&](const auto&) { ++published; });
    model->workflows().set({ workflowNamed("w1", "Deploy") });
    settle(400ms);
    ASSERT_TRUE(fs::exists(file(Paths::workflowsFile)));
    auto written = fs::last_write_time(file(Paths::workflowsFile));
    watching.fire();
    settle(2s);
    EXPECT_EQ(published, 1);
    EXPECT_EQ(fs::last_write_time(file(Paths::workflowsFile)), written);
}

TEST_F(ModelFixture, FollowsWhatAnAgentWrites)
{
    start();
    writeDocument(folder.path(), std::vector<Workflow> { workflowNamed("agent", "From an agent") });
    watching.fire();
    watching.fire(); // A burst: one reload, 0.3 s after the last event.
    loop.advance(299ms);
    loop.runBackground();
    EXPECT_TRUE(model->workflows().get().empty());
    loop.advance(1ms);
    loop.runBackground();
    ASSERT_EQ(model->workflows().get().size(), 1u);
    EXPECT_EQ(model->workflows().get()[0].id, "agent");
    EXPECT_NE(model->engine().workflow("agent"), nullptr);

    // Snippets too; a document that does not decode leaves the value in memory.
    std::ofstream(file(Paths::snippetsFile)) << "[{\"broken\": ";
    std::ofstream(file(Paths::workflowsFile)) << "not json";
    watching.fire();
    settle();
    EXPECT_EQ(model->workflows().get().size(), 1u);
    EXPECT_EQ(model->snippetCollections().get(),
        std::vector<SnippetCollection> { SnippetCollection::starter() });
}

TEST_F(ModelFixture, WritesWorkflowsOnlyUnderTheAgentLock)
{
    start();
    model->workflows().set({ workflowNamed("w1", "Deploy") });
    loop.advance(400ms);
    auto held = FileLock::acquire(file(Paths::agentLockFile));
    ASSERT_TRUE(held);
    std::thread writer([&] { loop.runBackground(); });
    std::this_thread::sleep_for(200ms);
    EXPECT_FALSE(fs::exists(file(Paths::workflowsFile)));
    {
        auto released = std::move(*held);
    }
    writer.join();
    EXPECT_TRUE(fs::exists(file(Paths::workflowsFile)));
}

TEST_F(ModelFixture, KeepsLearnedRankingEveryThirtySecondsAndEverythingAtTheEnd)
{
    start();
    model->knowledge().record("saf", "/usr/share/applications/firefox.desktop", loop.now());
    settle(29s);
    EXPECT_FALSE(fs::exists(file(Paths::knowledgeFile)));
    settle(1s);
    EXPECT_NE(readFile(file(Paths::knowledgeFile)).find("firefox"), std::string::npos);
    EXPECT_FALSE(model->knowledge().isDirty());

    model->customThemes().change([](ThemeLibrary& themes) {
        Theme theme;
        theme.id = "mine";
        themes.custom.push_back(theme);
    });
    model->saveAll();
    for (auto name : { Paths::settingsFile, Paths::themesFile, Paths::snippetsFile,
             Paths::workflowsFile, Paths::clipboardFile })
        EXPECT_TRUE(fs::exists(file(name))) << name;
    EXPECT_NE(readFile(file(Paths::themesFile)).find("mine"), std::string::npos);
}

TEST_F(ModelFixture, TheClipboardKeepsItsLimitAndItsImages)
{
    AppSettings settings;
    settings.clipboard.maxItems = 2;
    std::ofstream(file(Paths::settingsFile)) << *Json::documentText(toJSON(settings));
    start();
    fs::create_directories(model->clipboardImagesFolder());
    std::ofstream(model->clipboardImagesFolder() / "old.png") << "png";
    model->addClipboardItem({ .id = "1",
        .kind = ClipboardKind::image,
        .text = "Image 1 × 1",
        .imageFile = "old.png",
        .date = loop.now() });
    model->addClipboardItem({ .id = "2", .text = "two", .date = loop.now() });
    model->addClipboardItem({ .id = "3", .text = "three", .date = loop.now() });
    EXPECT_EQ(model->clipboardHistory().get().items.size(), 2u);
    EXPECT_FALSE(fs::exists(model->clipboardImagesFolder() / "old.png"));
    EXPECT_TRUE(model->removeClipboardItem("2"));
    EXPECT_FALSE(model->removeClipboardItem("2"));
    EXPECT_EQ(model->engine().clipboard().size(), 1u);
}

} // namespace
