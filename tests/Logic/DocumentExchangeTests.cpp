#include "Logic/DocumentExchange.h"

#include "FakeFolderWatching.h"
#include "FakeMainLoop.h"
#include "Support/TemporaryDirectory.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace {

using namespace zeph;
namespace fs = std::filesystem;

struct ExchangeFixture : testing::Test {
    TemporaryDirectory folder;
    FakeMainLoop loop;
    FakeFolderWatching watching;
    AppModel model { folder.path(), loop, watching, "/home/ann" };
    DocumentExchange exchange { model };

    // What the command line does: read, change, hand back.
    std::optional<std::string> change(std::string_view name, auto edit)
    {
        auto held = exchange.get(folder.path(), name);
        EXPECT_TRUE(held);
        auto json = *Json::parse(held->text);
        edit(json);
        return exchange.set(folder.path(), name, *Json::documentText(json), held->version);
    }
    std::string fileText(std::string_view name)
    {
        loop.runBackground();
        std::ifstream stream(folder.path() / name);
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }
};

TEST_F(ExchangeFixture, AChangeIsTakenIntoMemoryAndWrittenAtOnce)
{
    EXPECT_EQ(
        change(Paths::settingsFile, [](Json::Value& json) { json["verticalPosition"] = 0.5; }),
        std::nullopt);
    EXPECT_EQ(model.settings().get().verticalPosition, 0.5);
    EXPECT_NE(fileText(Paths::settingsFile).find("\"verticalPosition\": 0.5"), std::string::npos);

    model.knowledge().record("saf", "safari", Date {});
    EXPECT_EQ(change(Paths::knowledgeFile,
                  [](Json::Value& json) { json["entries"] = Json::Value::object(); }),
        std::nullopt);
    EXPECT_TRUE(model.knowledge().snapshot().entries.empty());
}

TEST_F(ExchangeFixture, AChangeMadeOverAnOlderVersionIsRefused)
{
    auto held = exchange.get(folder.path(), Paths::clipboardFile);
    ASSERT_TRUE(held);
    // The application records a copy between the command line's read and its write.
    model.addClipboardItem({ .id = "1", .text = "copied meanwhile", .date = loop.now() });
    auto json = *Json::parse(held->text);
    EXPECT_EQ(
        exchange.set(folder.path(), Paths::clipboardFile, *Json::documentText(json), held->version),
        std::string(DocumentExchange::staleRefusal));
    EXPECT_EQ(model.clipboardHistory().get().items.size(), 1u);
}

TEST_F(ExchangeFixture, OnlyItsOwnDocumentsInItsOwnFolder)
{
    TemporaryDirectory elsewhere;
    EXPECT_FALSE(exchange.get(elsewhere.path(), Paths::settingsFile));
    EXPECT_FALSE(exchange.get(folder.path(), Paths::workflowsFile));
    EXPECT_FALSE(exchange.get(folder.path(), "../settings.json"));
    auto held = exchange.get(folder.path(), Paths::settingsFile);
    EXPECT_TRUE(exchange.set(elsewhere.path(), Paths::settingsFile, held->text, held->version));
    EXPECT_TRUE(exchange.set(folder.path(), Paths::snippetsFile, "[]", 0));
}

TEST_F(ExchangeFixture, WhatCannotBeReadChangesNothing)
{
    auto before = model.settings().get();
    auto held = exchange.get(folder.path(), Paths::settingsFile);
    EXPECT_TRUE(exchange.set(folder.path(), Paths::settingsFile, "{not json", held->version));
    EXPECT_TRUE(
        exchange.set(folder.path(), Paths::settingsFile, R"({"hotkey": 5})", held->version));
    EXPECT_TRUE(exchange.set(folder.path(), Paths::themesFile, "[1, 2]",
        exchange.get(folder.path(), Paths::themesFile)->version));
    EXPECT_EQ(model.settings().get(), before);
}

} // namespace
