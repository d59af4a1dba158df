#include "Logic/LauncherController.h"

#include "LauncherWorld.h"

#include <gtest/gtest.h>

namespace {

using namespace zeph;
using namespace std::chrono_literals;
using Command = LauncherController::FieldCommand;
using Strings = std::vector<std::string>;

const auto ctrlHeld = KeyCombo::Modifiers::command; // The panel's Ctrl, in the program's bits.
const auto alt = KeyCombo::Modifiers::option;
const auto shift = KeyCombo::Modifiers::shift;

struct LauncherFixture
    : testing::Test
    , LauncherWorld {
    void SetUp() override { launcher.show(); }
};

TEST_F(LauncherFixture, TypeSeeRowsChooseAndLearn)
{
    EXPECT_TRUE(view.isVisible);
    EXPECT_EQ(view.shown.footerText, "Type ' for files · / or ~ to browse · clip for clipboard");
    type("saf");
    EXPECT_EQ(view.query, "saf");
    ASSERT_FALSE(rows().empty());
    EXPECT_EQ(selectedTitle(), "Safari");
    EXPECT_EQ(view.shown.countLabel, std::optional<std::string>("1 result"));
    EXPECT_EQ(view.shown.hints.front(), (KeyHint { "Open", "Enter" }));
    // Down wraps round the one row; Return launches it and the panel goes.
    command(Command::moveDown);
    EXPECT_EQ(selectedTitle(), "Safari");
    command(Command::insertNewline);
    EXPECT_FALSE(view.isVisible);
    EXPECT_EQ(desktop.calls, Strings { "launch /usr/share/applications/safari.desktop" });
    auto boosts = model.engine().boosts("saf");
    EXPECT_TRUE(boosts.contains("/usr/share/applications/safari.desktop"));

    // Learned: "saf" now brings Safari up with its reason in the footer.
    launcher.show();
    type("s");
    EXPECT_EQ(selectedTitle(), "Safari");
    EXPECT_EQ(view.shown.footerText, "Safari ranked up from your picks");
}

TEST_F(LauncherFixture, EscapePeelsOneLayerAtATime)
{
    type("'");
    EXPECT_EQ(launcher.mode(), LauncherMode::files);
    EXPECT_EQ(view.query, "");
    EXPECT_EQ(view.shown.chip, (ModeChip { "Files", "doc" }));
    EXPECT_EQ(view.shown.placeholder, "Search files");
    type("rep");
    // A second prefix is text while a mode is set.
    EXPECT_EQ(launcher.mode(), LauncherMode::files);
    command(Command::cancel);
    EXPECT_EQ(view.query, "");
    EXPECT_EQ(launcher.mode(), LauncherMode::files);
    command(Command::cancel);
    EXPECT_EQ(launcher.mode(), std::nullopt);
    EXPECT_EQ(view.shown.chip, std::nullopt);
    EXPECT_TRUE(view.isVisible);
    command(Command::cancel);
    EXPECT_FALSE(view.isVisible);
}

TEST_F(LauncherFixture, FileRowsArriveLateAndStaleOnesAreDropped)
{
    type("find ");
    EXPECT_EQ(launcher.mode(), LauncherMode::find);
    EXPECT_EQ(view.shown.chip, (ModeChip { "Find in File Manager", "folder" }));
    auto before = files.requests.size();
    type("rep");
    ASSERT_EQ(files.requests.size(), before + 3);
    EXPECT_EQ(files.requests.back(), (FileSearchRequest { .term = "rep", .limit = 40 }));
    auto report = (home / "Documents/report 2024.pdf").string();
    SearchItem file {
        .id = report, .title = "report 2024.pdf", .kind = ItemKind::file, .path = report
    };
    // The answer to "re" comes after "rep" was typed: dropped.
    files.answer({ file }, before + 1);
    EXPECT_TRUE(rows().empty());
    files.answer({ file });
    EXPECT_EQ(rows(), (Strings { "[Files]", "report 2024.pdf" }));
    EXPECT_EQ(view.shown.hints.front(), (KeyHint { "Reveal", "Enter" }));
    // In this mode Return reveals.
    command(Command::insertNewline);
    EXPECT_EQ(desktop.calls, Strings { "reveal " + report });
    // Hiding stops the search.
    EXPECT_GE(files.cancels, 1);
}

TEST_F(LauncherFixture, NavigationClimbsWithBackspaceAndTabGoesInside)
{
    typeWhole("~/");
    EXPECT_TRUE(launcher.current()->navigation);
    auto names = rows();
    EXPECT_NE(std::find(names.begin(), names.end(), "Documents"), names.end());
    EXPECT_EQ(view.shown.hints[1], (KeyHint { "Go inside", "Tab" }));
    // Backspace on "~/" is plain deletion.
    EXPECT_FALSE(command(Command::deleteBackward));
    typeWhole("~/Doc");
    command(Command::insertTab);
    EXPECT_EQ(view.query, "~/Documents/");
    typeWhole("~/Documents/Notes/");
    EXPECT_TRUE(command(Command::deleteBackward));
    EXPECT_EQ(view.query, "~/Documents/");
    // Ctrl+Up too.
    EXPECT_TRUE(ctrlKey(126));
    EXPECT_EQ(view.query, "~/");
    // Not at the end of the text: the field deletes.
    typeWhole("~/Documents/");
    EXPECT_FALSE(command(Command::deleteBackward, {}, { .isCaretAtEnd = false }));
}

TEST_F(LauncherFixture, TabCompletesByKind)
{
    type("fire");
    command(Command::insertTab);
    EXPECT_EQ(view.query, "Firefox");
    // A file enters the files mode with its name.
    type("x");
    typeWhole("");
    type("'");
    type("rep");
    auto report = (home / "Documents/report 2024.pdf").string();
    files.answer(
        { { .id = report, .title = "report 2024.pdf", .kind = ItemKind::file, .path = report } });
    command(Command::insertTab);
    EXPECT_EQ(launcher.mode(), LauncherMode::files);
    EXPECT_EQ(view.query, "report 2024.pdf");
}

TEST_F(LauncherFixture, SelectionMovesOverRowsNotHeaders)
{
    // A search with sections: applications and the web fallbacks.
    type("f");
    auto selectable = 0;
    for (auto& row : view.shown.rows)
        selectable += std::holds_alternative<LauncherDisplay::Row>(row);
    ASSERT_GT(selectable, 1);
    auto first = view.shown.selectedIndex;
    command(Command::moveUp);
    auto last = view.shown.selectedIndex;
    EXPECT_GT(last, first);
    command(Command::moveDown);
    EXPECT_EQ(view.shown.selectedIndex, first);
    // Page Down stops at the last row; Page Up at the first.
    command(Command::pageDown);
    command(Command::pageDown);
    command(Command::pageDown);
    EXPECT_EQ(view.shown.selectedIndex, last);
    command(Command::pageUp);
    command(Command::pageUp);
    command(Command::pageUp);
    EXPECT_EQ(view.shown.selectedIndex, first);
    // An empty list has no selection, and Return does nothing.
    typeWhole("zzqqxxnothing");
    while (launcher.current() && !rows().empty() && view.shown.selectedIndex >= 0)
        break;
    desktop.calls.clear();
    if (view.shown.selectedIndex < 0) {
        command(Command::insertNewline);
        EXPECT_TRUE(view.isVisible);
    }
}

TEST_F(LauncherFixture, CalculationsCopyAndPaste)
{
    type("2+3");
    EXPECT_EQ(selectedTitle(), "5");
    EXPECT_EQ(view.shown.hints,
        (std::vector<KeyHint> { { "Copy", "Enter" }, { "Paste", "Ctrl+Enter" } }));
    command(Command::insertNewline);
    EXPECT_EQ(clipboard.text(), "5");
    launcher.show();
    typeWhole("6*7");
    command(Command::insertNewline, ctrlHeld);
    // Pasted once the previous application has the keyboard again.
    EXPECT_TRUE(keys.taps.empty());
    loop.advance(80ms);
    ASSERT_EQ(keys.taps.size(), 1u);
    EXPECT_EQ(clipboard.writes.back(), ClipboardContents::text("42", true));
}

TEST_F(LauncherFixture, SystemCommandsThatEndSomethingAsk)
{
    type("lock");
    command(Command::insertNewline);
    EXPECT_EQ(desktop.calls, Strings { "system lock" });
    launcher.show();
    typeWhole("empty trash");
    desktop.confirmation = false;
    command(Command::insertNewline);
    ASSERT_EQ(desktop.calls.size(), 2u);
    EXPECT_EQ(desktop.calls[1],
        "confirm Zeph Launcher will empty the trash. This cannot be undone. [Empty Trash]");
    launcher.show();
    typeWhole("empty trash");
    desktop.confirmation = true;
    command(Command::insertNewline);
    EXPECT_EQ(desktop.calls.back(), "system emptyTrash");
}

TEST_F(LauncherFixture, WebSearchesOpenTheirAddress)
{
    type("g ");
    EXPECT_EQ(launcher.mode(), LauncherMode::google);
    type("cats");
    command(Command::insertNewline, alt);
    ASSERT_EQ(desktop.calls.size(), 1u);
    EXPECT_TRUE(desktop.calls[0].starts_with("open https://www.google.com/search?q=cats"))
        << desktop.calls[0];
    // Nothing learned inside a mode.
    EXPECT_TRUE(model.engine().boosts("cats").empty());
}

TEST_F(LauncherFixture, SnippetsPasteOrCopy)
{
    model.snippetCollections().set({ SnippetCollection { .id = "c",
        .snippets
        = { { .id = "s", .name = "Signature", .keyword = "sig", .content = "Best, Ann" } } } });
    type("snip ");
    EXPECT_EQ(launcher.mode(), LauncherMode::snippets);
    type("sig");
    EXPECT_EQ(selectedTitle(), "Signature");
    command(Command::insertNewline);
    EXPECT_FALSE(view.isVisible);
    loop.advance(80ms);
    EXPECT_EQ(clipboard.writes.back(), ClipboardContents::text("Best, Ann", true));
    launcher.show();
    type("snip sig");
    command(Command::insertNewline, ctrlHeld);
    EXPECT_EQ(clipboard.text(), "Best, Ann");
}

TEST_F(LauncherFixture, ClipboardEntriesPasteCopyPinAndGo)
{
    model.addClipboardItem({ .id = "a", .text = "first copy", .date = loop.now() });
    model.addClipboardItem({ .id = "b", .text = "second copy", .date = loop.now() });
    type("clip ");
    EXPECT_EQ(launcher.mode(), LauncherMode::clipboard);
    EXPECT_EQ(rows(), (Strings { "[Clipboard]", "second copy", "first copy" }));
    EXPECT_EQ(view.shown.hints.front(), (KeyHint { "Paste", "Enter" }));
    // Ctrl+P pins, with a toast, and the list follows.
    command(Command::moveDown);
    EXPECT_TRUE(ctrl("p"));
    EXPECT_EQ(view.shown.toast, std::optional<std::string>("Pinned to top"));
    EXPECT_EQ(rows(), (Strings { "[Pinned]", "first copy", "[Clipboard]", "second copy" }));
    EXPECT_EQ(selectedTitle(), "first copy");
    // A second toast replaces the first and lives its full time.
    loop.advance(2000ms);
    EXPECT_TRUE(ctrl("p"));
    EXPECT_EQ(view.shown.toast, std::optional<std::string>("Unpinned"));
    loop.advance(2000ms);
    EXPECT_EQ(view.shown.toast, std::optional<std::string>("Unpinned"));
    loop.advance(500ms);
    EXPECT_EQ(view.shown.toast, std::nullopt);
    // Ctrl+Backspace deletes from the history.
    EXPECT_TRUE(ctrlKey(51));
    EXPECT_EQ(model.clipboardHistory().get().items.size(), 1u);
    // Return pastes a little later; Shift+Return as plain text; Ctrl+Return copies.
    command(Command::insertNewline);
    loop.advance(80ms);
    EXPECT_EQ(clipboard.writes.back(), ClipboardContents::text("second copy", true));
    launcher.show();
    type("clip ");
    command(Command::insertNewline, ctrlHeld);
    EXPECT_EQ(clipboard.writes.back(), ClipboardContents::text("second copy"));
    // The copy is not recorded again.
    EXPECT_GT(inserter.ignoreCapturesUntil(), loop.uptime());
    // Nothing learned in clipboard mode.
    EXPECT_TRUE(model.knowledge().usageScores(loop.now()).empty());
}

TEST_F(LauncherFixture, TheActionsListOpensFiltersAndRuns)
{
    auto report = (home / "Documents/report 2024.pdf").string();
    type("'rep");
    files.answer(
        { { .id = report, .title = "report 2024.pdf", .kind = ItemKind::file, .path = report } });
    desktop.defaultApplication = "Document Viewer";
    // Right with the caret at the end opens it.
    EXPECT_TRUE(command(Command::moveRight));
    EXPECT_TRUE(launcher.isActionsListOpen());
    EXPECT_EQ(actionTitles(),
        (Strings { "Open", "Reveal in File Manager", "Preview", "Copy Path", "Copy Name",
            "Properties", "Open With Document Viewer", "Move to Trash" }));
    EXPECT_EQ(view.shown.actions->at(2).id, "2:Preview");
    EXPECT_EQ(view.shown.actions->at(1).shortcut, std::optional<std::string>("Ctrl+Enter"));
    EXPECT_EQ(view.shown.placeholder, "Search actions…");
    EXPECT_EQ(view.shown.chip, (ModeChip { "report 2024.pdf", "bolt.fill" }));
    EXPECT_EQ(view.shown.hints, (std::vector<KeyHint> { { "Run", "Enter" }, { "Back", "Esc" } }));
    EXPECT_EQ(view.query, "");
    // Typing filters, case aside.
    typeWhole("COPY");
    EXPECT_EQ(actionTitles(), (Strings { "Copy Path", "Copy Name" }));
    command(Command::moveDown);
    command(Command::moveDown);
    EXPECT_EQ(view.shown.selectedAction, 0);
    command(Command::moveUp);
    command(Command::insertNewline);
    EXPECT_FALSE(launcher.isActionsListOpen());
    EXPECT_EQ(clipboard.text(), "report 2024.pdf");
    // The query came back.
    EXPECT_EQ(view.query, "rep");
    // Ctrl+K twice, then Left on the empty field.
    ctrl("k");
    EXPECT_TRUE(launcher.isActionsListOpen());
    ctrl("k");
    EXPECT_FALSE(launcher.isActionsListOpen());
    ctrl("k");
    typeWhole("nothing like it");
    EXPECT_TRUE(actionTitles().empty());
    // An empty list beeps on Return.
    command(Command::insertNewline);
    EXPECT_EQ(desktop.calls.back(), "beep");
    EXPECT_FALSE(command(Command::moveLeft));
    EXPECT_TRUE(launcher.isActionsListOpen());
    typeWhole("");
    EXPECT_TRUE(command(Command::moveLeft));
    EXPECT_FALSE(launcher.isActionsListOpen());
}

TEST_F(LauncherFixture, InformationalRowsAndImagesOfferLess)
{
    type("'");
    // "Type a file name": informational, no actions.
    EXPECT_FALSE(command(Command::moveRight) && launcher.isActionsListOpen());
    EXPECT_FALSE(launcher.isActionsListOpen());
    command(Command::cancel);
    command(Command::cancel);
    model.addClipboardItem({ .id = "i",
        .kind = ClipboardKind::image,
        .text = "Image 2 × 2",
        .imageFile = "i.png",
        .date = loop.now() });
    type("clip ");
    ctrl("k");
    EXPECT_EQ(actionTitles(), (Strings { "Paste", "Copy", "Pin to Top", "Delete from History" }));
}

TEST_F(LauncherFixture, TheCtrlKeyMap)
{
    // Ctrl+1 picks the first row at once.
    type("saf");
    ctrl("1");
    EXPECT_EQ(desktop.calls, Strings { "launch /usr/share/applications/safari.desktop" });
    // Ctrl+9 with fewer rows still closes the actions list, and does nothing more.
    launcher.show();
    type("saf");
    ctrl("k");
    EXPECT_TRUE(ctrl("9"));
    EXPECT_FALSE(launcher.isActionsListOpen());
    EXPECT_TRUE(view.isVisible);
    // Ctrl+C with text selected in the field is the field's own; without, it copies the row.
    EXPECT_FALSE(ctrl("c", { .hasSelection = true }));
    EXPECT_TRUE(ctrl("c"));
    EXPECT_EQ(clipboard.text(), "/usr/share/applications/safari.desktop");
    EXPECT_FALSE(view.isVisible);
    // Ctrl+, opens the settings; Ctrl+Q, W, H only hide.
    launcher.show();
    ctrl(",");
    EXPECT_EQ(preferencesOpened, 1);
    EXPECT_FALSE(view.isVisible);
    for (auto key : { "q", "w", "h" }) {
        launcher.show();
        EXPECT_TRUE(ctrl(key));
        EXPECT_FALSE(view.isVisible);
    }
    // Without Ctrl nothing is the key map's.
    launcher.show();
    EXPECT_FALSE(launcher.keyEquivalent(0, "k", {}));
    EXPECT_FALSE(ctrl("x"));
    // Ctrl+Return activates with the first modifier: an application is revealed.
    type("saf");
    ctrlKey(36);
    EXPECT_EQ(desktop.calls.back(), "reveal /usr/share/applications/safari.desktop");
}

TEST_F(LauncherFixture, FilesGoToTheTrashAndShowTheirPreview)
{
    auto todo = (home / "Documents/Notes/todo.txt").string();
    type("'todo");
    files.answer({ { .id = todo, .title = "todo.txt", .kind = ItemKind::file, .path = todo } });
    EXPECT_TRUE(ctrl("y"));
    EXPECT_EQ(desktop.calls.back(), "preview " + todo);
    EXPECT_TRUE(view.isVisible);
    // Ctrl+Backspace with text selected edits the field.
    EXPECT_FALSE(launcher.keyEquivalent(51, "", ctrlHeld, { .hasSelection = true }));
    EXPECT_TRUE(ctrlKey(51));
    EXPECT_EQ(desktop.calls.back(), "trash " + todo);
    EXPECT_EQ(view.shown.toast, std::optional<std::string>("Moved to Trash"));
    files.answer({ { .id = todo, .title = "todo.txt", .kind = ItemKind::file, .path = todo } });
    EXPECT_TRUE(ctrl("i"));
    EXPECT_EQ(desktop.calls.back(), "properties " + todo);
    EXPECT_FALSE(view.isVisible);
}

TEST_F(LauncherFixture, KeepsTheQueryForAWhileWhenAsked)
{
    model.settings().change([](AppSettings& settings) { settings.keepQuerySeconds = 5; });
    type("'rep");
    command(Command::cancel); // Empties the text.
    type("rep");
    launcher.hide();
    loop.advance(4s);
    launcher.show();
    EXPECT_EQ(view.query, "rep");
    EXPECT_EQ(view.querySelection, QuerySelection::all);
    EXPECT_EQ(launcher.mode(), LauncherMode::files);
    launcher.hide();
    loop.advance(6s);
    launcher.show();
    EXPECT_EQ(view.query, "");
    EXPECT_EQ(launcher.mode(), std::nullopt);
    // A query given to show replaces whatever was kept.
    launcher.show("fire");
    EXPECT_EQ(view.query, "fire");
    EXPECT_EQ(view.querySelection, QuerySelection::caretAtEnd);
    // The hot key hides a panel that has the keyboard.
    launcher.toggle();
    EXPECT_FALSE(view.isVisible);
    launcher.toggle();
    EXPECT_TRUE(view.isVisible);
}

TEST_F(LauncherFixture, AnInvalidRowCompletesOrBeeps)
{
    Workflow workflow;
    workflow.id = "w";
    workflow.name = "Weather";
    workflow.nodes = { { .id = "k",
        .kind
        = NodeKind::Keyword { .keyword = "weather", .argument = ArgumentRequirement::required } } };
    model.workflows().set({ workflow });
    type("weather");
    ASSERT_EQ(selectedTitle().empty(), false);
    command(Command::insertNewline);
    EXPECT_TRUE(view.isVisible);
}

TEST_F(LauncherFixture, ForgetsLearnedRanking)
{
    type("saf");
    command(Command::insertNewline);
    launcher.show();
    type("saf");
    ctrl("k");
    auto titles = actionTitles();
    ASSERT_EQ(titles.back(), "Forget Learned Ranking");
    command(Command::moveUp);
    command(Command::insertNewline);
    EXPECT_EQ(view.shown.toast, std::optional<std::string>("Forgot how you ranked Safari"));
    EXPECT_TRUE(model.engine().boosts("saf").empty());
}

} // namespace

namespace {

// A script filter "repo" whose rows open a URL; the stub script answers as each test says.
Workflow scriptFilterWorkflow()
{
    Workflow workflow;
    workflow.id = "gh";
    workflow.name = "GitHub";
    workflow.nodes = {
        { .id = "filter",
            .kind = NodeKind::ScriptFilter { .keyword = "repo",
                .title = "Repositories",
                .script = "list" } },
        { .id = "open",
            .kind = NodeKind::OpenURL { .url = "https://github.com/{query}?v={var:view}" } },
    };
    workflow.connections = { { .id = "e", .from = "filter", .fromPort = "out", .to = "open" } };
    return workflow;
}

std::string itemsJSON(const std::string& query, std::optional<double> rerun = std::nullopt)
{
    std::string json = R"({"variables": {"view": "list"}, "items": [)"
                       R"({"uid": "a", "title": ")"
        + query
        + R"( one", "arg": "ann/one",)"
          R"( "mods": {"cmd": {"arg": "ann/one/issues"}, "alt": {"valid": false}}},)"
          R"({"title": ")"
        + query + R"( two", "arg": "ann/two", "variables": {"view": "grid"}}])";
    if (rerun)
        json += R"(, "rerun": )" + std::to_string(*rerun);
    return json + "}";
}

struct ScriptFilterFixture : LauncherFixture {
    void SetUp() override
    {
        LauncherFixture::SetUp();
        model.workflows().set({ scriptFilterWorkflow() });
        scripts->answer = [](const StubScriptRunner::Call& call) {
            return ScriptResult { .stdout = itemsJSON(call.query) };
        };
    }
};

TEST_F(ScriptFilterFixture, RunsAfterAPauseInTypingAndDropsLateAnswers)
{
    type("repo a");
    EXPECT_EQ(rows(), (Strings { "[Repositories]", "Running…" }));
    EXPECT_EQ(view.shown.countLabel, std::nullopt);
    // Two keys inside the pause start the script once.
    loop.advance(50ms);
    type("b");
    loop.advance(89ms);
    EXPECT_EQ(loop.backgroundCount(), 0u);
    loop.advance(1ms);
    EXPECT_EQ(loop.backgroundCount(), 1u);
    // The user types on while it runs: its answer is dropped without a trace.
    type("c");
    loop.runBackground();
    EXPECT_EQ(rows(), (Strings { "[Repositories]", "Running…" }));
    loop.advance(90ms);
    loop.runBackground();
    EXPECT_EQ(rows(), (Strings { "[Repositories]", "abc one", "abc two" }));
    EXPECT_EQ(view.shown.countLabel, std::optional<std::string>("2 results"));
    ASSERT_EQ(scripts->calls().size(), 2u);
    EXPECT_EQ(scripts->calls()[1].query, "abc");
    EXPECT_EQ(scripts->calls()[1].timeout, Seconds(15));
    // Further typing keeps the old rows until the new ones come.
    command(Command::moveDown);
    type("d");
    EXPECT_EQ(rows(), (Strings { "[Repositories]", "abc one", "abc two" }));
    loop.advance(90ms);
    loop.runBackground();
    EXPECT_EQ(rows(), (Strings { "[Repositories]", "abcd one", "abcd two" }));
}

TEST_F(ScriptFilterFixture, ChoosingARowRunsTheWorkflowWithItsModifier)
{
    type("repo x");
    loop.advance(90ms);
    loop.runBackground();
    // Return: the row's argument, the output's variables.
    command(Command::insertNewline);
    loop.runBackground();
    EXPECT_EQ(desktop.calls.back(), "open https://github.com/ann/one?v=list");
    // Ctrl: the "cmd" entry's own argument.
    launcher.show();
    type("repo x");
    loop.advance(90ms);
    loop.runBackground();
    command(Command::insertNewline, ctrlHeld);
    loop.runBackground();
    EXPECT_EQ(desktop.calls.back(), "open https://github.com/ann/one/issues?v=list");
    // Alt: the entry forbids it, though the row is valid.
    launcher.show();
    type("repo x");
    loop.advance(90ms);
    loop.runBackground();
    command(Command::insertNewline, alt);
    EXPECT_EQ(desktop.calls.back(), "beep");
    // The second row's variables win over the output's.
    command(Command::moveDown);
    command(Command::insertNewline);
    loop.runBackground();
    EXPECT_EQ(desktop.calls.back(), "open https://github.com/ann/two?v=grid");
}

TEST_F(ScriptFilterFixture, FailuresEmptyAnswersAndReruns)
{
    scripts->answer = [](const StubScriptRunner::Call&) {
        return ScriptResult { .stderr = "  no token\n", .exitCode = 1 };
    };
    type("repo x");
    loop.advance(90ms);
    loop.runBackground();
    EXPECT_EQ(rows(), (Strings { "[Repositories]", "Script filter failed" }));
    scripts->answer = [](const StubScriptRunner::Call&) { return ScriptResult {}; };
    type("y");
    loop.advance(90ms);
    loop.runBackground();
    EXPECT_EQ(rows(), (Strings { "[Repositories]", "No results" }));
    // Output and a failing exit still show the output.
    scripts->answer = [](const StubScriptRunner::Call& call) {
        return ScriptResult { .stdout = itemsJSON(call.query, 1.0), .exitCode = 3 };
    };
    type("z");
    loop.advance(90ms);
    loop.runBackground();
    EXPECT_EQ(rows(), (Strings { "[Repositories]", "xyz one", "xyz two" }));
    // It asks to run again a second later, and again, until the panel hides.
    loop.advance(1090ms);
    loop.runBackground();
    EXPECT_EQ(scripts->calls().size(), 4u);
    loop.advance(1090ms);
    loop.runBackground();
    EXPECT_EQ(scripts->calls().size(), 5u);
    launcher.hide();
    loop.advance(5s);
    loop.runBackground();
    EXPECT_EQ(scripts->calls().size(), 5u);
    // Showing again does not resume it; only the query running again does.
    launcher.show();
    loop.advance(5s);
    EXPECT_EQ(loop.backgroundCount(), 0u);
}

TEST_F(LauncherFixture, AnAgentsWorkflowShowsUpWhileThePanelIsOpen)
{
    type("deploy");
    auto before = rows();
    Workflow workflow;
    workflow.id = "agent";
    workflow.name = "Deploy";
    workflow.nodes = {
        { .id = "k",
            .kind = NodeKind::Keyword { .keyword = "deploy", .title = "Deploy the site" } },
        { .id = "n", .kind = NodeKind::Notification { .title = "Deploying", .body = "{query}" } },
    };
    workflow.connections = { { .id = "e", .from = "k", .fromPort = "out", .to = "n" } };
    std::filesystem::create_directories(model.dataFolder());
    std::ofstream(model.dataFolder() / "workflows.json")
        << *Json::documentText(DocumentCoding<std::vector<Workflow>>::encode({ workflow }));
    watching.fire();
    loop.advance(300ms);
    loop.runBackground();
    typeWhole("deploy");
    EXPECT_EQ(selectedTitle(), "Deploy the site");
    command(Command::insertNewline);
    loop.runBackground();
    EXPECT_EQ(notifier.notifications, Strings { "Deploying: " });
}

TEST_F(LauncherFixture, AnEmptyListHasNoSelection)
{
    type("find ");
    type("zz");
    EXPECT_TRUE(rows().empty());
    EXPECT_EQ(view.shown.selectedIndex, -1);
    command(Command::insertNewline);
    EXPECT_TRUE(view.isVisible);
    EXPECT_TRUE(desktop.calls.empty());
}

} // namespace

namespace {

// Each kind of row, chosen with each modifier: what reaches the desktop.
TEST_F(LauncherFixture, FilesFoldersAndSettingsByModifier)
{
    model.engine().setSystemSettings(
        { { .id = "/usr/share/applications/gnome-display-panel.desktop",
            .title = "Displays",
            .kind = ItemKind::systemSetting,
            .path = "/usr/share/applications/gnome-display-panel.desktop",
            .argument = "gnome-display-panel.desktop" } });
    auto report = (home / "Documents/report 2024.pdf").string();
    auto documents = (home / "Documents").string();
    struct Case {
        std::string typed;
        std::vector<SearchItem> files;
        KeyCombo::Modifiers held;
        std::string expected;
    };
    SearchItem file {
        .id = report, .title = "report 2024.pdf", .kind = ItemKind::file, .path = report
    };
    SearchItem folder {
        .id = documents, .title = "Documents", .kind = ItemKind::folder, .path = documents
    };
    std::vector<Case> cases {
        { "displ", {}, {}, "launch /usr/share/applications/gnome-display-panel.desktop" },
        { "displ", {}, ctrlHeld, "launch /usr/share/applications/gnome-display-panel.desktop" },
        { "'rep", { file }, {}, "open " + report },
        { "'rep", { file }, ctrlHeld, "reveal " + report },
        { "'rep", { file }, alt, "reveal " + report },
        { "'rep", { file }, shift, "open " + report },
        { "'doc", { folder }, {}, "open " + documents },
        { "'doc", { folder }, alt, "reveal " + documents },
        { "find doc", { folder }, shift, "reveal " + documents },
        { "in rep", { file }, {}, "open " + report },
    };
    for (auto& test : cases) {
        launcher.show();
        typeWhole(test.typed);
        if (!test.files.empty())
            files.answer(test.files);
        desktop.calls.clear();
        command(Command::insertNewline, test.held);
        EXPECT_EQ(desktop.calls, Strings { test.expected })
            << test.typed << " " << test.held.rawValue;
        EXPECT_FALSE(view.isVisible);
    }
}

TEST_F(LauncherFixture, CtrlDownEntersAFolderAndCtrlEEditsASnippet)
{
    typeWhole("~/");
    auto index = 0;
    for (auto& row : view.shown.rows) {
        auto* item = std::get_if<LauncherDisplay::Row>(&row);
        if (item && item->result.item.title == "Documents")
            break;
        ++index;
    }
    while (view.shown.selectedIndex != index)
        command(Command::moveDown);
    EXPECT_TRUE(ctrlKey(125));
    EXPECT_EQ(view.query, "~/Documents/");
    model.snippetCollections().set({ SnippetCollection { .id = "c",
        .snippets = { { .id = "s", .name = "Signature", .keyword = "sig", .content = "x" } } } });
    typeWhole("snip sig");
    EXPECT_TRUE(ctrl("e"));
    EXPECT_EQ(preferencesOpened, 1);
    EXPECT_FALSE(view.isVisible);
}

TEST_F(LauncherFixture, ShiftReturnPastesAClipboardEntryAsPlainText)
{
    model.addClipboardItem({ .id = "a", .text = "copied", .date = loop.now() });
    type("clip ");
    command(Command::insertNewline, shift);
    EXPECT_FALSE(view.isVisible);
    loop.advance(80ms);
    EXPECT_EQ(clipboard.writes.back(), ClipboardContents::text("copied", true));
}

} // namespace
