#include "Logic/WorkflowExecutor.h"

#include "LauncherWorld.h"
#include "Workflows/WorkflowTesting.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using namespace std::chrono_literals;

WorkflowConnection edge(std::string from, std::string to)
{
    return { .id = from + ">" + to, .from = from, .fromPort = "out", .to = to };
}

// A hot key (or keyword) that opens a search for its query.
Workflow searchWorkflow(std::string id, std::optional<KeyCombo> combo, bool isEnabled = true,
    HotkeyInput input = HotkeyInput::selectedText)
{
    Workflow workflow;
    workflow.id = std::move(id);
    workflow.isEnabled = isEnabled;
    workflow.nodes = { node("key", NodeKind::Hotkey { .combo = combo, .input = input }),
        node("word", NodeKind::Keyword { .keyword = "find" }),
        node("open", NodeKind::OpenURL { .url = "https://example.com/?q={query}" }),
        node("tell", NodeKind::Notification { .title = "Searched", .body = "{query}" }) };
    workflow.connections = { edge("key", "open"), edge("word", "open"), edge("open", "tell") };
    return workflow;
}

const KeyCombo ctrlAltF { .keyCode = 3,
    .modifiers = KeyCombo::Modifiers::control | KeyCombo::Modifiers::option };
const KeyCombo ctrlAltG { .keyCode = 5,
    .modifiers = KeyCombo::Modifiers::control | KeyCombo::Modifiers::option };

struct ExecutorFixture
    : testing::Test
    , LauncherWorld { };

TEST_F(ExecutorFixture, KeepsOneHotKeyPerEnabledBinding)
{
    model.workflows().set(
        { searchWorkflow("on", ctrlAltF), searchWorkflow("off", ctrlAltG, false) });
    EXPECT_TRUE(hotkeyService.held.empty());
    loop.advance(300ms);
    ASSERT_EQ(hotkeyService.held.size(), 1u);
    EXPECT_EQ(hotkeyService.held.begin()->second, ctrlAltF);
    // A new shortcut, saved: still exactly one registration for the workflow.
    model.workflows().set(
        { searchWorkflow("on", ctrlAltG), searchWorkflow("off", ctrlAltG, false) });
    loop.advance(300ms);
    ASSERT_EQ(hotkeyService.held.size(), 1u);
    EXPECT_EQ(hotkeyService.held.begin()->second, ctrlAltG);
    EXPECT_EQ(executor.hotkeyIDs().size(), 1u);
    // Taken by another program: skipped, the rest go on.
    hotkeyService.takenElsewhere.insert(5);
    model.workflows().set({ searchWorkflow("a", ctrlAltG), searchWorkflow("b", ctrlAltF) });
    loop.advance(300ms);
    EXPECT_EQ(executor.hotkeyIDs().size(), 1u);
}

TEST_F(ExecutorFixture, AHotKeyRunsWithTheSelectionOffTheMainThread)
{
    model.workflows().set({ searchWorkflow("w", ctrlAltF) });
    loop.advance(300ms);
    desktop.selection = "tax forms";
    hotkeyService.press(executor.hotkeyIDs().at(0));
    loop.runPosted();
    // The run waits on its own thread; the desktop hears of it on the main one.
    EXPECT_EQ(loop.backgroundCount(), 1u);
    EXPECT_TRUE(desktop.calls.empty());
    loop.runBackground();
    EXPECT_EQ(
        desktop.calls, std::vector<std::string> { "open https://example.com/?q=tax%20forms" });
    EXPECT_EQ(notifier.notifications, std::vector<std::string> { "Searched: tax forms" });
    EXPECT_EQ(scriptFolders.at(0), model.dataFolder() / "Workflows" / "w");

    // From the clipboard instead.
    model.workflows().set({ searchWorkflow("w", ctrlAltF, true, HotkeyInput::clipboard) });
    loop.advance(300ms);
    clipboard.copy(ClipboardContents::text("copied"));
    hotkeyService.press(executor.hotkeyIDs().at(0));
    loop.runPosted();
    loop.runBackground();
    EXPECT_EQ(desktop.calls.back(), "open https://example.com/?q=copied");
}

TEST_F(ExecutorFixture, RunsFromTheLauncherAndForTheEditor)
{
    model.workflows().set({ searchWorkflow("w", std::nullopt) });
    executor.run("w", "word", "cats", {}, ConnectionModifier::none);
    executor.run("gone", "word", "cats");
    loop.runBackground();
    EXPECT_EQ(desktop.calls, std::vector<std::string> { "open https://example.com/?q=cats" });

    std::optional<WorkflowRunLog> log;
    auto edited = searchWorkflow("draft", std::nullopt);
    executor.test(edited, "word", "dogs", [&](WorkflowRunLog result) { log = std::move(result); });
    loop.runBackground();
    ASSERT_TRUE(log);
    EXPECT_EQ(log->finalQuery, "dogs");
    EXPECT_EQ(log->steps.size(), 3u);
}

TEST_F(ExecutorFixture, PastesThroughTheTextInserter)
{
    Workflow workflow;
    workflow.id = "paste";
    workflow.nodes = { node("word", NodeKind::Keyword { .keyword = "p" }),
        node("copy", NodeKind::CopyToClipboard { .text = "<{query}>", .paste = true }) };
    workflow.connections = { edge("word", "copy") };
    model.workflows().set({ workflow });
    executor.run("paste", "word", "x");
    loop.runBackground();
    ASSERT_EQ(keys.taps.size(), 1u);
    EXPECT_EQ(clipboard.text(), "<x>");
}

} // namespace
